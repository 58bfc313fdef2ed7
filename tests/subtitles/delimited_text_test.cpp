#include "quorel/subtitles/delimited_text.h"

#include <gmock/gmock.h>

using namespace quorel;
using namespace quorel::DelimitedText;
using testing::ElementsAre;

namespace {

using Records = std::vector<std::vector<std::string>>;

struct Case {
    const char* name;
    std::string text;
    Records records;
    DecoderOptions options{};
};

TEST(DelimitedTextTest, ReadsEveryFormOfRecord) {
    const DecoderOptions comma;
    const DecoderOptions escape{.fieldEscapeCharacter = Character('\\')};
    const DecoderOptions tab{.delimiter = Character::tab()};
    const DecoderOptions overrun{.captureQuotedStringOverrunCharacters = true};
    const std::vector<Case> cases{
        {"empty", "", {}},
        {"delimiter_at_end", "a,b,", {{"a", "b", ""}}},
        {"delimiter_before_newline", "a,b,\n", {{"a", "b", ""}}},
        {"lone_delimiter_is_blank", ",", {}},
        {"blanks_at_end", "a, ", {{"a", ""}}},
        {"blank_lines", "\n  \na\n\"\"\n\r\n\tb", {{"a"}, {"b"}}},
        {"leading_white_space_only", " \u00A0a , b \n", {{"a ", "b "}}},
        {"every_newline",
         "a\rb\nc\r\nd\u0085e\u2028f\u2029g\vh\fi",
         {{"a"}, {"b"}, {"c"}, {"d"}, {"e"}, {"f"}, {"g"}, {"h"}, {"i"}}},
        {"quotes", "\"a,\"\"b\"\"\r\nc\",\"d\"\n", {{"a,\"b\"\r\nc", "d"}}},
        {"quote_inside_plain", "a\"b,c\"\n", {{"a\"b", "c\""}}},
        {"open_quote_takes_the_rest", "\"a,b\nc", {{"a,b\nc"}}},
        {"open_quote_at_end", "a,\"", {{"a", ""}}},
        {"overrun_dropped", "\"abc\"def,g\n\"h\" \n", {{"abc", "g"}, {"h"}}},
        {"overrun_kept", "\"abc\"d\"ef,g", {{"abcd\"ef", "g"}}, overrun},
        {"escape", "a\\,b\\\\,\\\r\nc,\"\\\"d\"\n", {{"a,b\\", "\r\nc", "\"d"}}, escape},
        {"escape_at_end", "a\\", {{"a"}}, escape},
        {"escape_at_end_of_quoted", "\"a\\", {{"a"}}, escape},
        {"tab_is_no_blank", "\ta\t b\n", {{"", "a", "b"}}, tab},
        {"header_and_comments",
         "h\u2028#c\na#,b\n#d",
         {{"a#", "b"}},
         {.commentCharacter = Character('#'), .headerLineCount = 1}},
        {"two_columns_kept",
         "a,b,c\n1,\"2\"\"\",\"3\"\"\"\n,,\n",
         {{"a", "b"}, {"1", "2\""}, {"", ""}},
         {.keptColumns = 2}},
        {"comma_with_accent", "a,\u0301b,c", {{"a,\u0301b", "c"}}},
        {"quote_with_accent", "\"\u0301a,\"b\"\u0301,\"", {{"\"\u0301a", "b\"\u0301,"}}},
        {"blank_with_accent_is_white", " \u0301a", {{"a"}}},
        {"comma_behind_prepended_mark", "a\u0600,b,c", {{"a\u0600,b", "c"}}},
        {"carriage_return_delimits", "a\rb\r\nc", {{"a", "b"}, {"c"}}, {.delimiter = Character('\r')}},
        {"long_delimiter",
         "a\U0001F1E9\U0001F1EAb\U0001F1E9\nc",
         {{"a", "b\U0001F1E9"}, {"c"}},
         {.delimiter = Character("\U0001F1E9\U0001F1EA")}},
        {"not_utf8", "a\xC2,b\xE2\x80,\xFF", {{"a\xC2", "b\xE2\x80", "\xFF"}}},
    };
    for (const Case& c : cases) {
        Decoder decoder(c.text, c.options);
        decoder.readRecords();
        EXPECT_EQ(decoder.records(), c.records) << c.name;
    }
}

TEST(DelimitedTextTest, DetectsTheSeparatorOfTheFirstLine) {
    const std::vector<std::pair<std::string, std::optional<Character>>> cases{
        {"a;b;c,d", Character::semicolon()},
        {"a,b;c", Character::comma()},
        {"a\vb;c\r,,", Character::semicolon()},
        {"a\tb\n", Character::tab()},
        {"a,\u0301;b", Character::semicolon()},
        {"abc\n,", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [text, separator] : cases) EXPECT_EQ(detectSeparator(text), separator) << text;
    EXPECT_EQ(Coder().decode("1;2\n")->records(), (Records{{"1", "2"}}));
    EXPECT_EQ(Coder().decode("1")->delimiter(), Character::comma());
}

TEST(DelimitedTextTest, TellsOfFieldsRecordsAndProgress) {
    std::vector<std::string> events;
    const auto run = [&](std::string_view text, std::string_view refusedField, std::string_view refusedRecord) {
        events.clear();
        Coder().startDecoding(
            text, {}, {}, {}, {}, false, [&](int percent) { events.push_back(std::to_string(percent) + "%"); },
            [&](std::size_t row, std::size_t column, std::string_view field) {
                events.push_back(std::to_string(row) + ":" + std::to_string(column) + " " + std::string(field));
                return field != refusedField;
            },
            [&](std::size_t row, std::span<const std::string_view> record) {
                events.push_back(std::to_string(row) + "=" + std::to_string(record.size()));
                return record[0] != refusedRecord;
            });
        return events;
    };
    // Ten units of UTF-16: the emoji counts two.
    EXPECT_THAT(run("a,b,\n\n\U0001F600\n1", "-", "-"),
                ElementsAre("0%", "0:0 a", "0:1 b", "0:2 ", "0=3", "50%", "1:0 ", "60%", "1:0 \U0001F600", "1=1",
                            "90%", "2:0 1", "2=1", "100%"));
    EXPECT_THAT(run("a,b\nc\nd", "-", "c"),
                ElementsAre("0%", "0:0 a", "0:1 b", "0=2", "57%", "1:0 c", "1=1", "100%"));
    events.clear();
    Coder().startDecoding(
        "h\n#c\n\"a\"b;\\;\n", Character(';'), Character('\\'), Character('#'), 1, true, {}, {},
        [&](std::size_t row, std::span<const std::string_view> record) {
            events.push_back(std::to_string(row) + " " + std::string(record[0]) + " " + std::string(record[1]));
            return true;
        });
    EXPECT_THAT(events, ElementsAre("0 ab ;"));
    EXPECT_THAT(run("a,b,c\nd", "b", "-"), ElementsAre("0%", "0:0 a", "0:1 b", "0=1", "100%"));
    EXPECT_THAT(run("a,b,", "", "-"), ElementsAre("0%", "0:0 a", "0:1 b", "0:2 ", "100%"));
}

TEST(DelimitedTextTest, WritesEveryFieldQuoted) {
    const Records records{{"a", "", "b\"c\r\n"}, {}, {"d;"}};
    EXPECT_EQ(Coder().encode(records, ';'), "\"a\";\"\";\"b\"\"c\r\n\"\r\n\r\n\"d;\"\r\n");
    EXPECT_EQ(Coder().encode({}, ','), "");
}

TEST(DelimitedTextTest, ACharacterIsExactlyOne) {
    EXPECT_DEATH(Character(""), "Character");
    EXPECT_DEATH(Character("ab"), "Character");
    EXPECT_EQ(Character("\r\n").isASCII(), false);
}

}  // namespace
