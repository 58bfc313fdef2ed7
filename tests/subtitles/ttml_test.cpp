#include "quorel/subtitles/ttml.h"

#include <gtest/gtest.h>

#include "quorel/subtitles/time_expression.h"
#include "quorel/support/regex.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

using TTML = Subtitles::Coder::TTML;

const std::string open = R"(<tt xmlns="http://www.w3.org/ns/ttml"><body>)";
const std::string close = "</body></tt>";

std::string body(const std::string& content) {
    return open + content + close;
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += text;
    return all;
}

TEST(TTML, Decodes) {
    check(
        TTML(),
        {
            {"whole_document",
             "\uFEFF<?xml version='1.0' encoding='UTF-8'?>\r\n<tt xml:lang='pt' xmlns='http://www.w3.org/ns/ttml' "
             "xmlns:tts='http://www.w3.org/ns/ttml#styling'><head><p begin='1s' end='2s'>no</p></head>"
             "<body><div><p xml:id='a' begin='00:00:03.500' end='00:00:04.5'>\n  Ol\u00E1 <br/>\n &#x4E16;\u754C "
             "\n</p>"
             "<p begin='1s' end='2s'><![CDATA[a < b]]> &amp;lt;c&gt; &amp;amp;apos;</p></div></body></tt>",
             " 1-2 a < b <c> '\n 3.5-4.005 Ol\u00E1/\u4E16\u754C\n"},
            {"span_ends_the_cue", body("<p begin='1s' end='2s'>a<span>b</span>c</p>"), " 1-2 ab\n"},
            {"span_takes_over", body("<p begin='1s' end='2s'>a<span begin='3s' end='4s'>b</span></p>"),
             " 3-4 b\n"},
            {"div_is_a_cue", body("<div begin='1s' end='2s'>a<p>b</p>c</div>"), " 1-2 ab\n"},
            {"end_before_begin", body("<p begin='2s' end='1s'>a</p>"), " 2-2 a\n"},
            {"no_tt_at_all", "<body><p begin='1s' end='2s'/></body>", " 1-2 \n"},
            {"units_mean_nothing", body("<p begin='1s' end='2000ms'>a</p>"), " 1-2000 a\n"},
            {"internal_entities", "<!DOCTYPE tt [<!ENTITY who 'Ann'>]>" + body("<p begin='1s' end='2s'>&who;</p>"),
             " 1-2 Ann\n"},
            {"header_of_another_encoding",
             "<?xml version='1.0' encoding='ISO-8859-1'?>" + body("<p begin='1s' end='2s'>\u00E9</p>"),
             " 1-2 \u00E9\n"},
        });
    EXPECT_EQ(
        TTML()
            .decode("<?xml version='1.0' encoding='windows-1251'?>" + body("<p begin='1s' end='2s'>\xC4\xE0</p>"),
                    TextEncoding::utf8)
            .cues()[0]
            .text(),
        "\u0414\u0430");
}

TEST(TTML, Refuses) {
    check(
        TTML(),
        {
            {"nothing", "", "invalidFile"},
            {"no_xml", "1\n00:00:01,000 --> 00:00:02,000\nx\n", "invalidFile"},
            {"cut", open + "<p begin='1s' end='2s'>a</p>", "invalidFile"},
            {"rest", body("<p begin='1s' end='2s'>a</p>") + "<x/>", "invalidFile"},
            {"no_namespace", "<tt><body><p begin='1s' end='2s'>a</p></body></tt>", "invalidFile"},
            {"other_namespace", "<tt xmlns='http://www.w3.org/2006/10/ttaf1'/>", "invalidFile"},
            {"prefixed",
             "<t:tt xmlns:t='http://www.w3.org/ns/ttml'><t:body><t:p begin='1s' end='2s'>a</t:p></t:body></t:tt>",
             "invalidEncoding"},
            {"no_cue", body(""), "invalidEncoding"},
            {"only_dur", body("<p begin='1s' dur='2s'>a</p>"), "invalidEncoding"},
            {"bad_times",
             body("<p begin='1:00:00.000' end='2s'>a</p><p begin='1s' end='soon'>a</p><p end='2s'>a</p>"),
             "invalidEncoding"},
            {"outside_the_body", "<tt xmlns='http://www.w3.org/ns/ttml'><p begin='1s' end='2s'>a</p></tt>",
             "invalidEncoding"},
            {"not_utf8", body("<p begin='1s' end='2s'>\xE9</p>"), "invalidEncoding"},
            {"too_deep", repeated("<div>", 1'000'000), "invalidFile"},
            {"external_entity",
             "<!DOCTYPE tt [<!ENTITY e SYSTEM 'file:///etc/hostname'>]>" + body("<p begin='1s' end='2s'>&e;</p>"),
             " 1-2 \n"},
            {"entity_bomb",
             "<!DOCTYPE tt [<!ENTITY a '" + repeated("x", 1000) + "'><!ENTITY b '" + repeated("&a;", 1000) +
                 "'><!ENTITY c '" + repeated("&b;", 1000) + "'>]>" + body("<p begin='1s' end='2s'>&c;</p>"),
             "invalidFile"},
            {"names_without_end",
             [] {
                 std::string names = "<a";
                 for (int i = 0; i < 400'000; ++i) names += " n" + std::to_string(i) + "=''";
                 return names;
             }(),
             "invalidFile"},
        });
}

TEST(TTML, Encodes) {
    const Subtitles document(
        {Subtitles::Cue({.identifier = "i<",
                         .startTime = Subtitles::Time(0, 0, 1, 5),
                         .endTime = Subtitles::Time(100, 75, 1, 500),
                         .text = "a & <b>\n\"c's\""}),
         Subtitles::Cue({.startTime = Subtitles::Time(2), .endTime = Subtitles::Time(3), .text = "d"})});
    const std::string head =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<tt xmlns=\"http://www.w3.org/ns/ttml\" xmlns:tts=\"http://www.w3.org/ns/ttml#styling\" "
        "xmlns:ttp=\"http://www.w3.org/ns/ttml#parameter\" xml:lang=\"en\" "
        "ttp:timeBase=\"media\">\n\t<body>\n\t\t<div>";
    const std::string tail = "\t\t</div>\n\t</body>\n</tt>";
    const std::string second = "<p begin=\"00:00:02.0\" end=\"00:00:03.0\" >d</p>\n";
    EXPECT_EQ(TTML().encode(document), head +
                                           "<p xml:id=\"i<\" begin=\"00:00:01.5\" end=\"100:75:01.500\" >a &amp; "
                                           "&lt;b&gt;<br/>&quot;c&apos;s&quot;</p>\n" +
                                           second + tail);
    EXPECT_EQ(TTML().encode(Subtitles()), head + tail);
    const Subtitles timed({document.cues()[1]});
    EXPECT_EQ(TTML().decode(TTML().encode(timed)), timed);
}

TEST(TimeExpression, IsReadAndWritten) {
    const std::vector<std::tuple<std::string, double, std::string>> cases{
        {"00:00:01.5", 1.005, "00:00:01.5"},
        {"x 100:59:59.500 x", 363599.5, "100:59:59.500"},
        {"00:75:99.5000", 3599.999, "00:75:99.5000"},
        {"1000:00:00", 3596400, "1000:00:00"},
        {"01:02:03:12.4", 3723, "01:02:03:12.4"},
        {"00:00:01:1", 1, "00:00:01"},
        {"00:00:011", 1, "00:00:01"},
        {"5ms", 5, "5ms"},
        {"1.25h", 1.25, "1.25h"},
        {"at 7.t or 8.5f", 8.5, "8.5f"},
    };
    for (const auto& [text, seconds, written] : cases) {
        const auto expression = TimeExpression::parse(text);
        ASSERT_TRUE(expression) << text;
        EXPECT_EQ(expression->time().timeInSeconds(), seconds) << text;
        EXPECT_EQ(expression->text(), written);
    }
    for (const std::string text :
         {"", "1:00:00", "5", "s", "1s 2s", "00:00:01 00:00:02", "\u0661s", "99999999999999999999:00:00"}) {
        EXPECT_FALSE(TimeExpression::parse(text)) << text;
    }
    EXPECT_FALSE(TimeExpression::parse(std::string(400, '9') + "s"));
}

TEST(TimeExpression, MatchesAsThePatterns) {
    const Regex clock(TimeExpression::clockTimePattern);
    const Regex offset(TimeExpression::offsetTimePattern);
    Pieces pieces({"0", "12", "345", ":", ".", "12:34", ":56", "ms", "h", "f", " ", "\u0661", "00:00:01"});
    const auto number = [](const std::string& digits) -> std::optional<std::int64_t> {
        if (digits.empty() || digits.find('\xD9') != std::string::npos) return std::nullopt;
        return std::stoll(digits);
    };
    for (int i = 0; i < generatedLines() / 2; ++i) {
        const std::string text = pieces.line(8);
        std::optional<TimeExpression> expected;
        if (const auto matches = clock.matches(text); matches.count() == 1) {
            const auto c = matches[0].captureStrings();
            if (number(c[0]) && number(c[1]) && number(c[2])) {
                expected = TimeExpression{TimeExpression::ClockTime{*number(c[0]), *number(c[1]), *number(c[2]),
                                                                    number(c[3]), number(c[4]), number(c[5])}};
            }
        }
        if (const auto matches = offset.matches(text); !expected && matches.count() == 1) {
            const auto c = matches[0].captureStrings();
            const auto metric = c[1] == "ms"  ? TimeExpression::Metric::ms
                                : c[1] == "h" ? TimeExpression::Metric::h
                                              : TimeExpression::Metric::f;
            if (number(c[0])) expected = TimeExpression{TimeExpression::OffsetTime{std::stod(c[0]), metric}};
        }
        ASSERT_EQ(TimeExpression::parse(text), expected) << text;
    }
}

}  // namespace
}  // namespace quorel
