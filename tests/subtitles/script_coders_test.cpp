// SSA and ASS, and LRC: what they read, refuse and write.
#include <gtest/gtest.h>

#include "quorel/foundation/log.h"
#include "quorel/subtitles/assa.h"
#include "quorel/subtitles/assa_scanner_private.h"
#include "quorel/subtitles/lrc.h"
#include "quorel/support/regex.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

using Coder = Subtitles::Coder;

const std::string format = "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
const std::string prefix = "[Events]\n" + format + "Dialogue: 0,0:00:01.00,0:00:02.50,Default,,0,0,0,,";

TEST(ASS, Decodes) {
    check(
        Coder::AdvancedSSA(),
        {
            {"empty", "", ""},
            {"whole_script",
             "\uFEFF[Script Info]\r\n; made by hand\r\nScriptType: v4.00+\r\n\r\n[V4+ Styles]\r\nFormat: Name\r\n"
             "Style: Default\r\n\r\n" +
                 prefix + "Hello, world\r\n" +
                 "Comment: 0,0:00:01.00,0:00:02.00,Default,,0,0,0,,no\r\n"
                 "Dialogue: 0,0:00:00.50,0:00:00.10,Default,,0,0,0,, {\\an8}a\\Nb  ",
             " 0.5-0.5 {\\an8}a\\Nb\n 1-2.5 Hello world\n"},
            {"no_events", "[Info]\n" + format + "Dialogue: x", ""},
            {"empty_line_ends_the_section",
             "[Events]\n" + format + "\nDialogue: 0,0:00:01.00,0:00:02.00,D,,0,0,0,,x", ""},
            {"brackets_rename_the_section", prefix + "[Music]\nDialogue: 0,0:00:03.00,0:00:04.00,D,,0,0,0,,lost",
             ""},
            {"two_pairs_of_brackets_do_not", prefix + "[a] [b]", " 1-2.5 [a] [b]\n"},
            {"header_anywhere_in_the_line",
             "x [Events]: y\n" + format + "Dialogue: 0,0:0:1.00,0:0:2.00,D,,0,0,0,,x", " 1-2 x\n"},
            {"actor_is_the_speaker",
             "[Events]\nFormat: Actor,Name, Start ,End,Text\nDialogue: Ann ,Bob,1000,2000,x,y,\n"
             "Dialogue:,Bob,3000,4000,",
             " 1-2 [Ann] xy\n 3-4 [] \n"},
            {"columns_mind_case", "[Events]\nFormat: text,Start,End,Text\nDialogue: a,1000,2000,b", " 1-2 b\n"},
            {"last_format_counts", "[Events]\nFormat: Text\n" + prefix.substr(9) + "x", " 1-2.5 x\n"},
            {"form_feed_inside_is_no_dialogue", prefix + "a\fb", ""},
            {"form_feed_at_end_is_trimmed", prefix + "a\f", " 1-2.5 a\n"},
        });
    LogCapture log;
    check(Coder::AdvancedSSA(),
          {
              {"script_type", "ScriptType: v3.00", "invalidEncoding"},
              {"script_type_in_any_section", prefix + "x\nScriptType:", "invalidEncoding"},
              {"dialogue_without_format", "[Events]\nDialogue: 0,0:00:01.00,0:00:02.00,x", "invalidEncoding"},
              {"too_few_columns", prefix.substr(0, prefix.size() - 1), "invalidEncoding"},
              {"no_end", "[Events]\nFormat: Start, Text\nDialogue: 1000,x", "invalidEncoding"},
              {"no_text", "[Events]\nFormat: Start, End\nDialogue: 1000,2000", "invalidEncoding"},
              {"bad_time", "[Events]\nFormat: Start, End, Text\nDialogue: 1000,0:00:01.5,x", "invalidTime(0)"},
              {"not_utf8", prefix + "\xE9", "invalidEncoding"},
          });
    EXPECT_EQ(log.text(), "Unsupported script type v3.00\nUnsupported script type \n");
}

TEST(SSA, ReadsAsASSAndNeverWrites) {
    const Coder::SubStationAlpha plain;
    const Coder::AdvancedSSA advanced;
    EXPECT_EQ(plain.decode(prefix + "x", TextEncoding::isoLatin1), advanced.decode(prefix + "x"));
    EXPECT_DEATH(plain.decode("[Events]\nFormat: Start, End, Text\nDialogue: -1,2000,x"), "negative");
    const auto refused = SubTitlesError::coderDoesntSupportEncoding();
    for (const SubtitlesTextCoder* coder :
         {static_cast<const SubtitlesTextCoder*>(&plain), static_cast<const SubtitlesTextCoder*>(&advanced)}) {
        try {
            coder->encode(Subtitles());
            ADD_FAILURE();
        } catch (const SubTitlesError& error) {
            EXPECT_EQ(error, refused);
        }
        EXPECT_THROW(coder->encode(Subtitles(), TextEncoding::utf8), SubTitlesError);
    }
}

TEST(LRC, Decodes) {
    check(Coder::LRC(), {
                            {"empty", "", ""},
                            {"tags_and_blank_lines", "\uFEFF[ar:Ann]\r\n\r\n[length: 01:00.00]\n", ""},
                            {"hundredths", "[00:12.34]Hello\n", " 12.34-12.34 Hello\n"},
                            {"milliseconds", "\t[00:12.345] Hello \n", " 12.345-12.345  Hello\n"},
                            {"two_stamps", "[02:00.00][01:00.00]Twice", " 60-60 Twice\n 120-120 Twice\n"},
                            {"text_between_stamps", "a[00:01.00]b[00:02.00]c", " 1-1 c\n 2-2 c\n"},
                            {"more_than_an_hour", "[75:00.00]x", " 4500-4500 x\n"},
                            {"one_digit", "[1:00.00]x\n[00:1.00]x\n[00:01.0]x\n[00:01.0000]x\n[00:01,00]x", ""},
                            {"many_brackets_close", "[[00:01.00]]]x", " 1-1 ]]x\n"},
                            {"other_digits_count_zero", "[0\u0661:01.\u0660\u0661\u0662]x", " 1-1 x\n"},
                            {"accent_on_the_bracket", "[00:01.00]\u0301x", " 1-1 x\n"},
                            {"no_text", "[00:01.00]", " 1-1 \n"},
                        });
    const auto time = Coder::LRC().decode("[75:61.07]x").cues()[0].startTime();
    EXPECT_EQ(time.text(), "01:15:61.070");
}

TEST(LRC, Encodes) {
    const auto at = [](double seconds, std::string_view text) {
        return Subtitles::Cue({.startTime = Subtitles::Time(seconds), .text = text});
    };
    const auto document = Subtitles::restoring({at(5999.9996, "b\nc"), at(1.239, "a")});
    EXPECT_EQ(Coder::LRC().encode(document), "[00:01.23]a\n[99:59.99]b\nc\n");
    EXPECT_EQ(Coder::LRC(Coder::LRC::TimeFormat::minutesSecondsMilliseconds).encode(document),
              "[00:01.239]a\n[99:59.999]b\nc\n");
    EXPECT_EQ(Coder::LRC().encode(Subtitles()), "");
    try {
        Coder::LRC().encode(Subtitles({at(1, "a"), at(6000, "b")}));
        ADD_FAILURE();
    } catch (const SubTitlesError& error) {
        EXPECT_EQ(error, SubTitlesError::timeTooLargeToExport(at(6000, "b")));
    }
}

TEST(HandWrittenScans, MatchAsThePatternsOfScripts) {
    const Regex section(Coder::AdvancedSSA::sectionPattern);
    const Regex keyValue(Coder::AdvancedSSA::keyValuePattern);
    Pieces script({"[", "]", "a", ":", "[b]", "key: ", "\v", "\f", "\u00E9", "]["});
    for (int i = 0; i < generatedLines() / 2; ++i) {
        const std::string line = script.line(16);
        const auto sections = section.matches(line);
        const auto stretch = detail::soleBracketedStretch(line);
        ASSERT_EQ(stretch.has_value(), sections.count() == 1) << line;
        ASSERT_EQ(stretch.value_or(""), stretch ? sections.text(0) : "") << line;
        const auto match = keyValue.firstMatch(line);
        const auto pair = detail::matchKeyValue(line);
        ASSERT_EQ(pair.has_value(), match.has_value()) << line;
        if (!pair) continue;
        ASSERT_EQ(match->captureString(0), pair->key) << line;
        ASSERT_EQ(match->captureString(1), pair->value) << line;
    }
}

}  // namespace
}  // namespace quorel
