// SRT, WebVTT, SBV and MicroDVD: what they read, refuse and write.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "quorel/subtitles/sbv.h"
#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/srt_to_vtt.h"
#include "quorel/subtitles/sub.h"
#include "quorel/subtitles/vtt.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

using Coder = Subtitles::Coder;

const std::string t12 = "00:00:01,000 --> 00:00:02,000";

TEST(SRT, Decodes) {
    check(Coder::SRT(),
          {
              {"empty", "", ""},
              {"blank_lines_only", "\n \n\t\r\n\u2028", ""},
              {"bom_crlf_missing_last_blank", "\uFEFF1\r\n" + t12 + "\r\na\r\nb\r\n\r\n2\r\n" + t12 + "\r\nc",
               "#1 1-2 a/b\n#2 1-2 c\n"},
              {"every_line_end",
               "1\u0085" + t12 + "\u2028a\u2029b\r\r2\n" + t12 +
                   "\nc\x0B"
                   "d\n",
               "#1 1-2 a/b\n#2 1-2 c\x0B"
               "d\n"},
              {"trims_all_lines", "\t1 \n  " + t12 + "\u00A0\n \u3000a  b\u2003\n\u00A0\n", "#1 1-2 a  b\n"},
              {"signs", "+7\n" + t12 + "\nx\n\n-3\n" + t12 + "\ny\n", "#7 1-2 x\n#-3 1-2 y\n"},
              {"sorts", "1\n00:00:05,000 --> 00:00:06,000\nlate\n\n2\n" + t12 + "\nearly\n",
               "#2 1-2 early\n#1 5-6 late\n"},
              {"no_text", "1\n" + t12 + "\n\n2\n" + t12 + "\n", "#1 1-2 \n#2 1-2 \n"},
              {"minus_one_at_end_is_no_cue", "-1\n" + t12 + "\nx", ""},
              {"minus_one_and_blank_is_a_cue", "-1\n" + t12 + "\nx\n\n", "#-1 1-2 x\n"},
              {"minus_one_and_nothing", "-1", ""},
              {"end_before_start", "1\n0:0:5,000 --> 00:00:01,000\nx", "#1 5-5 x\n"},
              {"wide_values", "1\n100:00:75,000 --> 101:00:00,000\nx", "#1 360075-363600 x\n"},
              {"trailing_coordinates", "1\n" + t12 + " X1:40 Y1:20\nx", "#1 1-2 x\n"},
              {"leading_text", "1\nat " + t12 + "\nx", "#1 1-2 x\n"},
              {"more_digits_than_milliseconds_have", "1\n" + t12 + "9\nx", "#1 1-2 x\n"},
              {"other_blanks_at_the_arrow", "1\n00:00:01,000\u00A0-->\t00:00:02,000\nx", "#1 1-2 x\n"},
          });
}

TEST(SRT, Refuses) {
    check(Coder::SRT(),
          {
              {"text_for_index", "one\n", "invalidPosition(1)"},
              {"second_paragraph", "1\n" + t12 + "\na\n\nb\n", "invalidPosition(5)"},
              {"index_too_large", "9223372036854775808\n" + t12, "invalidPosition(1)"},
              {"two_signs", "+-1\n", "invalidPosition(1)"},
              {"not_a_timing", "\n1\nx\n", "invalidTime(2)"},
              {"end_minute_of_one_digit", "1\n00:00:01,000 --> 00:0:02,000\nx", "invalidTime(1)"},
              {"period", "1\n00:00:01.000 --> 00:00:02.000\nx", "invalidTime(1)"},
              {"two_blanks", "1\n00:00:01,000  --> 00:00:02,000\nx", "invalidTime(1)"},
              {"two_timings", "1\n" + t12 + " " + t12 + "\nx", "invalidTime(1)"},
              {"two_timings_without_a_blank", "1\n" + t12 + t12 + "\nx", "invalidTime(1)"},
              {"hour_too_large", "1\n99999999999999999999:00:01,000 --> 00:00:02,000\nx", "invalidTime(1)"},
              {"digits_that_are_not_ascii", "1\n00:00:0\u0661,000 --> 00:00:02,000\nx", "invalidTime(1)"},
              {"blank_after_index", "1\n\n" + t12, "invalidFile"},
              {"ends_after_index", "1\n" + t12 + "\nx\n\n2\n", "invalidTime(-1)"},
              {"no_utf8", "1\n" + t12 + "\n\xC3", "invalidEncoding"},
          });
}

TEST(LineCoders, TellWhichLineIsToBlame) {
    const std::string_view rows[][3] = {
        {"srt", "1\n00:00:01,000 --> 00:00:02,000\na\n\nb\n", "5 b"},
        {"srt", "\n1\nx\n", "3 x"},
        {"vtt", "WEBVTT\n\nx\ny\n", "4 y"},
        {"vtt", "x\n", "1 x"},
        {"sbv", "0:00:01.000,0:00:02.000\na\n\nb\n", "4 b"},
        {"sub", "{1}{2}a\nb\n", "2 b"},
        {"ass", "[Events]\nFormat: Start, End, Text\nDialogue: 1000,x,a\n", "3 x"},
        {"ttml", "<tt xmlns='http://www.w3.org/ns/ttml'>\n<x>\n", "3 "},
        {"srt", "1\n\xFF", "2 "},
    };
    for (const auto& [extension, content, expected] : rows) {
        try {
            const Subtitles read(content, extension);
            ADD_FAILURE() << content;
        } catch (const SubTitlesError& error) {
            ASSERT_TRUE(error.diagnosis()) << content;
            EXPECT_EQ(std::to_string(error.diagnosis()->line) + " " + error.diagnosis()->found, expected)
                << content;
        }
    }
}

Subtitles sample() {
    using Time = Subtitles::Time;
    return Subtitles(
        {Subtitles::Cue({.identifier = "intro", .startTime = Time(1), .endTime = Time(2.5), .text = "a\nb"}),
         Subtitles::Cue({.position = 7,
                         .startTime = Time(0, 75, 0, 0),
                         .endTime = Time(360000.0),
                         .text = "c",
                         .speaker = "<An>na"}),
         Subtitles::Cue({.startTime = Time(400000.25), .endTime = Time(400001.0)})});
}

TEST(SRT, Encodes) {
    EXPECT_EQ(Coder::SRT().encode(sample()),
              "1\n00:00:01,000 --> 00:00:02,500\na\nb\n\n"
              "7\n00:75:00,000 --> 100:00:00,000\nc\n\n"
              "8\n111:06:40,250 --> 111:06:41,000\n\n");
    EXPECT_EQ(Coder::SRT().encode(Subtitles()), "");
}

TEST(SRT, ConvertsStraightToWebVTT) {
    const std::vector<std::string> contents = {
        "",
        "\uFEFF1\r\n" + t12 +
            "\r\na\r\nb\r\n\r\n2\r\n0:0:3,000 --> 0:00:02,000\r\nc\n\n\n-1\n0:0:9,000 --> 0:00:9,000\nz",
        "1\n00:00:05,000 --> 00:00:06,000\nlate\n\n2\n" + t12 + "\nearly\n"};
    for (const auto& content : contents) {
        EXPECT_EQ(convertSRTToVTT(content), Coder::VTT().encode(Coder::SRT().decode(content)));
    }
    EXPECT_THROW(convertSRTToVTT("1\n00:00:05,000 --> 00:00:06,000\nlate\n\n2\n" + t12 + "\n\nx"), SubTitlesError);
}

const std::string v12 = "00:01.000 --> 00:02.000";

TEST(VTT, Decodes) {
    check(
        Coder::VTT(),
        {
            {"header_only", "WEBVTT", ""},
            {"header_with_title", "\uFEFFX WEBVTT - title\n\n" + v12 + "\nx", " 1-2 x\n"},
            {"cue_right_behind_the_header", "WEBVTT\n" + v12 + "\nx\n\n" + v12 + "\ny", " 1-2 y\n"},
            {"comma_and_no_blanks", "WEBVTT\n\n1:02:03,500-->1:02:04,000\nx", " 3723.5-3724 x\n"},
            {"empty_hours_and_minutes", "WEBVTT\n\n::01.000 --> :02.000\nx", " 1-2 x\n"},
            {"hour_too_large_counts_as_none", "WEBVTT\n\n99999999999999999999:00:01.000 --> 00:02.000\nx",
             " 1-2 x\n"},
            {"settings_and_other_text", "WEBVTT\n\nat " + v12 + " line:90% position:50%\nx", " 1-2 x\n"},
            {"identifier", "WEBVTT\n\nintro\n" + v12 + "\nx\ny\n\n\n" + v12, "intro 1-2 x/y\n 1-2 \n"},
            {"skipped_blocks",
             "WEBVTT\n\nNOTE\nx\n\nSTYLE\ny\n\nREGION\nz\n\nmy WEBVTT\n" + v12 + "\n\nstray\n\n" + v12 + "\nx",
             " 1-2 x\n"},
            {"blank_does_not_end_a_block", "WEBVTT\n\n" + v12 + "\nx\n \n y ", " 1-2 x/ / y \n"},
            {"speaker", "WEBVTT\n\n" + v12 + "\n<v.loud Anna>Hello</v>", " 1-2 [Anna] Hello</v>\n"},
            {"speaker_in_the_middle", "WEBVTT\n\nid\n" + v12 + "\nSo\n<v Anna K>Hello",
             "id 1-2 [Anna K] So/Hello\n"},
            {"two_speakers", "WEBVTT\n\n" + v12 + "\n<v Anna>Hello\n<v Bob>Hi", " 1-2 <v Anna>Hello/<v Bob>Hi\n"},
            {"speaker_without_end", "WEBVTT\n\n" + v12 + "\n<v Anna", " 1-2 <v Anna\n"},
            {"end_before_start_and_sorts", "WEBVTT\n\n00:03.000 --> 00:02.000\nb\n\n" + v12 + "\na",
             " 1-2 a\n 3-3 b\n"},
        });
}

TEST(VTT, Refuses) {
    check(Coder::VTT(), {
                            {"empty", "", "invalidFile"},
                            {"no_header", "\nWEBVTT\n\n" + v12, "invalidFile"},
                            {"wrong_case", "WebVTT\n", "invalidFile"},
                            {"no_timing_in_two_lines", "WEBVTT\n\nx\ny\n" + v12, "invalidTime(3)"},
                            {"two_timings", "WEBVTT\n\nid\n" + v12 + " " + v12, "invalidTime(3)"},
                            {"seconds_too_large", "WEBVTT\n\nid\n00:99999999999999999999.000 --> 00:02.000\nx",
                             "invalidTime(3)"},
                            {"no_seconds", "WEBVTT\n\nid\n00:.000 --> 00:02.000\nx", "invalidTime(3)"},
                            {"no_utf8", "WEBVTT\n\xFF", "invalidEncoding"},
                        });
}

TEST(VTT, Encodes) {
    EXPECT_EQ(Coder::VTT().encode(sample()),
              "WEBVTT\n\n"
              "intro\n00:00:01.000 --> 00:00:02.500\na\nb\n\n"
              "\n00:75:00.000 --> 100:00:00.000\n<v .An.na>c\n\n"
              "\n111:06:40.250 --> 111:06:41.000\n\n\n");
    EXPECT_EQ(Coder::VTT().encode(Subtitles()), "WEBVTT\n\n");
}

TEST(SBV, DecodesRefusesAndEncodes) {
    const std::string s12 = "0:00:01.000,0:00:02.000";
    check(Coder::SBV(), {
                            {"empty", "\n\n", ""},
                            {"ordinal_positions", "\uFEFF\n" + s12 + "\r\n a \nb\n\n\n" + s12 + "\nc",
                             "#1 1-2  a /b\n#2 1-2 c\n"},
                            {"end_before_start", "0:0:5.000,0:00:02.000\nx\n", "#1 5-5 x\n"},
                            {"blank_at_the_end_of_the_timing", s12 + " \nx", "invalidTime(0)"},
                            {"end_minute_of_one_digit", "0:0:1.000,0:0:2.000\nx", "invalidTime(0)"},
                            {"text_for_timing", s12 + "\nx\n\ny\nz", "invalidTime(3)"},
                            {"no_text", "\n" + s12 + "\n\nx", "invalidTime(2)"},
                            {"ends_with_a_timing", s12 + "\n", "unexpectedEOF"},
                            {"vertical_tab_ends_the_pattern", s12 + "\x0B\nx", "#1 1-2 x\n"},
                            {"no_utf8", s12 + "\n\xFF", "invalidEncoding"},
                        });
    EXPECT_EQ(Coder::SBV().encode(sample()),
              "00:00:01.000,00:00:02.500\na\nb\n\n"
              "00:75:00.000,100:00:00.000\nc\n\n"
              "111:06:40.250,111:06:41.000\n\n\n");
}

TEST(SUB, DecodesAndRefuses) {
    check(
        Coder::SUB(25.0),
        {
            {"parts", "\uFEFF {100}{200}First|{y:i}Second|\n\n{25}{50}{y:i}x{c}y", " 1-2 y\n 4-8 First/Second/\n"},
            {"empty_parts", "{25}{50}a||{}|b", " 1-2 a///b\n"},
            {"formatting_code_alone", "{25}{50}{y:i}", " 1-2 y:i\n"},
            {"frames_that_are_no_numbers", "{x}{2.5e1}a\n{nan}{1e999}b\n{+25}{25}c", " 0-1 a\n 0-0 b\n 1-1 c\n"},
            {"two_tokens", "{1}{2}{}", "invalidFile"},
            {"plain_text", "Hello", "invalidFile"},
            {"tokens_in_a_later_part", "{1}{2}|x", "invalidFile"},
            {"no_utf8", "{1}{2}\xFF", "invalidEncoding"},
        });
    EXPECT_EQ(Coder::SUB().decode("{1}{2}x").firstCue()->startTime().millisecond(), 41u);
    EXPECT_DEATH(Coder::SUB().decode("{-1}{2}x"), "^fatal: Subtitles::Time");
    const auto code = SubTitlesError::Code::coderDoesntSupportEncoding;
    for (const bool toBytes : {false, true}) {
        try {
            toBytes ? Subtitles().encode("sub", TextEncoding::utf8) : Subtitles().encode("sub");
            ADD_FAILURE();
        } catch (const SubTitlesError& error) {
            EXPECT_EQ(error.code(), code);
        }
    }
}

// Megabytes of what makes a careless reader quadratic; ctest's limit on time is the judge.
TEST(LineCoders, StayLinearOnHostileText) {
    const auto times = [](const std::string& piece, std::size_t size) {
        std::string text;
        while (text.size() < size) text += piece;
        return text;
    };
    constexpr std::size_t large = 2 << 20;
    for (const std::string& line :
         {times("1", large) + "x:1,000 --> ", times("1:", large), times("1:1:1,111 --> ", large),
          times("-->", large), "\u00E9" + times("0", large) + ":0:0,00 --> 0:0:0,000",
          "0:00:00,000" + times(" ", large) + "-->", times("1:00:00,000", large) + "\u00A0-->",
          times("1:00:00,000\u00A0", large) + "-->"}) {
        EXPECT_EQ(described(Coder::SRT(), "1\n" + line + "\nx"), "invalidTime(1)");
        EXPECT_EQ(described(Coder::VTT(), "WEBVTT\n\n\n" + line + "\nno\n"), "invalidTime(4)")
            << line.substr(0, 20);
        EXPECT_EQ(described(Coder::SBV(), line), "invalidTime(0)");
    }
    EXPECT_EQ(Coder::VTT().decode("WEBVTT\n\n" + v12 + "\n" + times("<v", large)).cues().size(), 1u);
    EXPECT_EQ(Coder::VTT().decode("WEBVTT\n\n" + v12 + "\n" + times("<v a", large)).cues().size(), 1u);
    EXPECT_EQ(Coder::SUB().decode(times("{1}{2}a|{\n", large)).cues().size(), large / 10 + 1);
}

}  // namespace
}  // namespace quorel
