#include "quorel/subtitles/csv.h"

#include <gtest/gtest.h>

#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

using CSV = Subtitles::Coder::CSV;
using Field = CSV::Field;

TEST(CSV, DecodesTheDefaultColumns) {
    check(CSV(), {
                     {"empty", "", ""},
                     {"headers_fall_away",
                      "No.,Timecode In,Timecode Out,Subtitle\n1,00:00:01:000,00:00:02:500,a\n", "#1 1-2.5 a\n"},
                     {"quoted", "\"7\",\"00:00:01,000\",\"00:00:02.50\",\"a, \"\"b\"\"\r\nc\"\r\n",
                      "#7 1-2.5 a, \"b\"\r/c\n"},
                     {"milliseconds", "x,1500,+2000, a \n", " 1.5-2 a \n"},
                     {"short_rows", "1\n2,1000\n3,2000,3000\n", "#2 1-1 \n#3 2-3 \n"},
                     {"bad_end_is_none", "1,1000,soon,a", "#1 1-1 a\n"},
                     {"end_before_start", "1,2000,1000,a", "#1 2-2 a\n"},
                     {"more_columns", "1,1000,2000,a,b,c", "#1 1-2 a\n"},
                     {"sorted", "1,2000,3000,b\n2,1000,3000,a", "#2 1-3 a\n#1 2-3 b\n"},
                     {"mark_belongs_to_the_field", "\uFEFF1,1000,2000,a", " 1-2 a\n"},
                     {"not_utf8", "1,1000,2000,\xE9", "invalidEncoding"},
                 });
    EXPECT_DEATH(CSV().decode("1,-1000,2000,a"), "negative");
}

TEST(CSV, DecodesChosenColumns) {
    const CSV coder({Field::speaker("Who"), Field::startTimeInSeconds("In"), Field::durationInSeconds("For"),
                     Field::endTimeInSeconds("Out"), Field::text("Text"), Field::identifier("Id")},
                    ';', Character('\\'), Character('#'), 1);
    check(coder, {
                     {"skipped_lines", "Ann;1;2;4;a;i\n#x;1;2;4;a\nBob;.5;1e0;;b\\;c;\n", " 0.5-1.5 [Bob] b;c\n"},
                     {"end_goes_before_duration", "\nAnn;1;2;4;a;i\n", "i 1-4 [Ann] a\n"},
                     {"nothing_but_a_start", "\n;1;x;y", " 1-1 [] \n"},
                     {"no_numbers", "\n;one;1;2;a;\n;inf;1;2;a\n;nan;1;2;a\n; 1 ;1;2;a\n;1e999;1;2;a", ""},
                 });
    EXPECT_DEATH(coder.decode("\n;-0.5;1"), "negative");
    const CSV twice({Field::startTimeInSeconds("a"), Field::startTimeInSeconds("b"), Field::startTime("c")});
    check(twice,
          {{"unreadable_seconds_leave_the_start", "1,x", " 1-1 \n"}, {"unreadable_time_does_not", "1,,x", ""}});
}

TEST(CSV, Encodes) {
    const Subtitles document(
        {Subtitles::Cue({.identifier = "i",
                         .position = -1,
                         .startTime = Subtitles::Time(100, 75, 1, 5),
                         .endTime = Subtitles::Time(400'000.5),
                         .text = "a\n\"b\"",
                         .speaker = "Ann"}),
         Subtitles::Cue({.startTime = Subtitles::Time(0.1), .endTime = Subtitles::Time(0.3)})});
    EXPECT_EQ(CSV().encode(document),
              "\"No.\",\"Timecode In\",\"Timecode Out\",\"Subtitle\"\r\n"
              "\"\",\"00:00:00:100\",\"00:00:00:300\",\"\"\r\n"
              "\"-1\",\"100:75:01:005\",\"111:06:40:500\",\"a\n\"\"b\"\"\"\r\n");
    CSV all({Field::identifier(""), Field::position(""), Field::startTimeInSeconds(""),
             Field::endTimeInSeconds(""), Field::durationInSeconds(""), Field::speaker(""), Field::text("")},
            Character::tab());
    all.exportColumnHeaders = false;
    EXPECT_EQ(
        all.encode(document),
        "\"\"\t\"\"\t\"0.1\"\t\"0.3\"\t\"0.19999999999999998\"\t\"\"\t\"\"\r\n"
        "\"i\"\t\"-1\"\t\"364501.005\"\t\"400000.5\"\t\"35499.494999999995\"\t\"Ann\"\t\"a\n\"\"b\"\"\"\r\n");
    EXPECT_EQ(CSV().decode(CSV().encode(document)).cues()[1].text(), "a\n\"b\"");
    EXPECT_EQ(all.encode(all.decode(all.encode(document))), all.encode(document));
    EXPECT_EQ(all.encode(Subtitles()), "");
}

}  // namespace
}  // namespace quorel
