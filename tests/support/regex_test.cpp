#include "quorel/support/regex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "quorel/foundation/log.h"

namespace quorel {
namespace {

using testing::ElementsAre;
using Options = Regex::Options;
using MatchingOptions = Regex::MatchingOptions;
using Range = Regex::Range;

std::vector<std::string> found(const char* pattern, const std::string& text, Options options = Options::none) {
    return Regex(pattern, options).matches(text).textMatching();
}

TEST(Regex, PatternsMeanWhatUnicodeSays) {
    struct Case {
        const char* pattern;
        const char* text;
        std::vector<std::string> expected;
        Options options = Options::none;
    };
    const std::vector<Case> cases = {
        {R"(\d+)", "12 \u0663\u0664 x", {"12", "\u0663\u0664"}},
        {R"(a\sb)", "a\u00A0b a\u2003b a-b", {"a\u00A0b", "a\u2003b"}},
        {R"((?<=\[)([^\]]+)(?=\]))", "[ab][c]", {"ab", "c"}},
        {".+", "a\rb\nc\r\nd\u0085e\u2028f\u2029g\fh", {"a", "b", "c", "d", "e", "f", "g", "h"}},
        {".+", "a\rb\nc", {"a\rb", "c"}, Options::useUnixLineSeparators},
        {".+", "a\nb", {"a\nb"}, Options::dotMatchesLineSeparators},
        {"^b$", "a\u2028b", {}},
        {"^b$", "a\u2028b", {"b"}, Options::anchorsMatchLines},
        {"b$", "b\r\n", {"b"}},
        {R"(\sb|[^a]c)", "a\r\nb\r\nc", {"\nb", "\nc"}},  // begins within CR LF
        {"$", "a\r\n", {"", ""}},                         // which is one line end
        {R"(\S\s?\Z)", "a\r\n", {"a"}},
        {R"(^[]$\]^]$(?#$)|\Q$\E|\$)", "]\r\n\r\n$", {"]", "$"}, Options::anchorsMatchLines},
        {"^$|$", "a\r\n\r\nb", {"", "", ""}, Options::anchorsMatchLines},
        {"", "\r\n", {"", "", ""}, Options::ignoreMetacharacters},
        {"STRASSE|\u00E4", "strasse \u00C4", {"strasse", "\u00C4"}, Options::caseInsensitive},
        {"a b # remark", "ab", {"ab"}, Options::allowCommentsAndWhitespace},
        {"a.(b", "aXb A.(B", {"A.(B"}, Options::ignoreMetacharacters | Options::caseInsensitive},
        {"x*", "ax\u00E9", {"", "x", "", ""}},  // an empty match moves on by one character, never into one
        {"a.*?b", "aab ab", {"aab", "ab"}},
    };
    for (const Case& c : cases) EXPECT_EQ(found(c.pattern, c.text, c.options), c.expected) << c.pattern;
}

TEST(Regex, ReportsBadPatternsOptionsAndTexts) {
    const auto code = [](auto action) {
        try {
            action();
        } catch (const RegexError& error) {
            return std::pair{error.code(), error.patternOffset()};
        }
        return std::pair{RegexError::Code::limitExceeded, std::size_t{99}};
    };
    EXPECT_EQ(code([] { Regex("ab(c"); }), std::pair(RegexError::Code::invalidPattern, std::size_t{4}));
    EXPECT_EQ(code([] { Regex("\xFF"); }).first, RegexError::Code::invalidPattern);
    EXPECT_EQ(code([] { Regex(R"(\C)"); }).first, RegexError::Code::invalidPattern);  // half a character
    EXPECT_EQ(code([] { Regex("a", Options::useUnicodeWordBoundaries); }).first,
              RegexError::Code::unsupportedOption);
    EXPECT_EQ(code([] { Regex("a").hasMatch("a\xC3"); }).first, RegexError::Code::invalidText);
    EXPECT_EQ(code([] { Regex("a").matches("\xED\xA0\x80"); }).first, RegexError::Code::invalidText);
}

TEST(Regex, SearchesDeeplyBeforeAndAfterALongSearch) {
    const std::string deep = std::string(15'000, 'a') + "b";
    std::thread([&] { EXPECT_TRUE(Regex("(?:.|a)*b").hasMatch(deep)); }).join();
    std::thread([&] {
        EXPECT_FALSE(Regex("b").hasMatch(std::string(100'000, 'a')));
        EXPECT_TRUE(Regex("(?:.|a)*b").hasMatch(deep));
    }).join();
}

TEST(Regex, GivesUpInsteadOfRunningForMinutes) {
    const std::string megabyte(1 << 20, '1');
    const std::vector<std::pair<const char*, std::string>> hostile = {
        {"(a+)+$", std::string(40, 'a') + "b"},
        {"(a+)+$", std::string(100'000, 'a') + "b"},
        {"(?:.|a)*[bc]", std::string(200'000, 'a')},
    };
    for (const auto& [pattern, text] : hostile) {
        EXPECT_THROW(Regex(pattern).hasMatch(text), RegexError) << pattern;
    }
    // Long, but honest: all of the text is searched, whatever it is cut into.
    std::string lines;
    while (lines.size() < 40'000) lines += "a\r\n";
    EXPECT_FALSE(Regex("^$", Options::anchorsMatchLines).hasMatch(lines + "a"));
    EXPECT_EQ(Regex("1:").matches(megabyte + ":" + megabyte + ":").count(), 2u);
    EXPECT_EQ(Regex(R"(\G1)").matches(megabyte).count(), megabyte.size());
    EXPECT_EQ(Regex("(?<=2)x").firstMatch(megabyte + "2x")->range,
              (Range{megabyte.size() + 1, megabyte.size() + 2}));
}

TEST(Regex, CapturesStayAlignedWithTheirNumbers) {
    const auto match = Regex("(a)?(b)(c)?").firstMatch("xb");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->range, (Range{1, 2}));
    EXPECT_THAT(match->captures, ElementsAre(Range{0, 0}, Range{1, 2}, Range{0, 0}));
    EXPECT_THAT(match->captureStrings(), ElementsAre("", "b", ""));

    const auto all = Regex(R"((\w)(\d)?)").matches("a1b");
    EXPECT_EQ(all.count(), 2u);
    EXPECT_EQ(all.text(0, 1), "1");
    EXPECT_THAT(all.textForCaptures(all[1]), ElementsAre("b", ""));
    EXPECT_EQ(all.text(1), "b");
    EXPECT_DEATH(all[2], "Index out of range");
    EXPECT_DEATH(all.text(0, 2), "Index out of range");
}

TEST(Regex, ExactMatchIsOneMatchOfTheWholeText) {
    EXPECT_TRUE(Regex("a+").matches("aa").isExactMatch());
    EXPECT_FALSE(Regex("a").matches("aa").isExactMatch());
    EXPECT_FALSE(Regex("a+").matches("aab").isExactMatch());
    EXPECT_TRUE(Regex("a*").matches("").isExactMatch());
}

TEST(Regex, RangesLimitTheSearchAndItsBounds) {
    const Regex word("a");
    EXPECT_EQ(word.matchesFrom("aXa", 1).count(), 1u);
    EXPECT_EQ(word.matchesUpTo("aXa", 2).count(), 1u);
    EXPECT_EQ(word.matchesUpToIncluding("aXa", 2).count(), 2u);
    EXPECT_THAT(Regex(".+").matchesUpToIncluding("e\u0301x", 0).textMatching(), ElementsAre("e\u0301"));
    EXPECT_EQ(word.matches("\u00E9a", Range{1, 3}).count(), 1u);  // 1 lies within the first character
    EXPECT_DEATH(word.matchesFrom("aa", 2), "^fatal: Invalid Range");
    EXPECT_DEATH(word.matchesUpTo("aa", 3), "Invalid Range");
    EXPECT_DEATH(word.hasMatch("aa", Range{2, 1}), "Invalid Range");

    const Regex start("^b"), behind("(?<=a)b"), end("b$");
    const Range range{1, 2};
    EXPECT_TRUE(start.hasMatch("abc", range));
    EXPECT_FALSE(start.hasMatch("abc", range, MatchingOptions::withoutAnchoringBounds));
    EXPECT_FALSE(behind.hasMatch("abc", range));
    EXPECT_TRUE(behind.hasMatch("abc", range, MatchingOptions::withTransparentBounds));
    EXPECT_TRUE(end.hasMatch("abc", range));
    EXPECT_FALSE(end.hasMatch("abc", range, MatchingOptions::withoutAnchoringBounds));
    EXPECT_FALSE(Regex("b").hasMatch("ab", {}, MatchingOptions::anchored));
    EXPECT_EQ(Regex("b").firstMatch("ab", Range{1, 2}, MatchingOptions::anchored)->range, range);
    EXPECT_EQ(word.matches("aab", {}, MatchingOptions::anchored).count(), 1u);
}

TEST(Regex, ReplacesByTemplateAndByText) {
    struct Case {
        const char* pattern;
        const char* with;
        const char* byTemplate;
        const char* byText;
    };
    const std::vector<Case> cases = {
        {R"((\w)(\d))", "$2$1", "1a 2b-", "$2$1 $2$1-"},
        {R"((\w)(\d))", "[$0]", "[a1] [b2]-", "[$0] [$0]-"},
        {R"((\w)(\d))", "$12$9$", "a2$ b2$-", "$12$9$ $12$9$-"},  // $12 is group 1 and "2": there are two groups
        {R"((\w)(\d))", R"(\$1\\\x\)", R"($1\x\ $1\x\-)", R"(\$1\\\x\ \$1\\\x\-)"},
        {R"((z)?\d)", "<$1>", "a<> b<>-", "a<$1> b<$1>-"},
        {"q", "r", "a1 b2-", "a1 b2-"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Regex(c.pattern).stringByReplacingMatchesWithTemplate("a1 b2-", c.with), c.byTemplate) << c.with;
        EXPECT_EQ(Regex(c.pattern).stringByReplacingMatches("a1 b2-", c.with), c.byText) << c.with;
    }
    EXPECT_EQ(
        Regex(R"((a)(b)(c)(d)(e)(f)(g)(h)(i)(j))").stringByReplacingMatchesWithTemplate("abcdefghij", "$10$1"),
        "ja");
    EXPECT_EQ(Regex("a").stringByReplacingMatches("aXaXa", "", Range{1, 4}), "aXXa");
}

TEST(Regex, EnumerationStopsWhenAskedAndReportsProgress) {
    const Regex digit(R"(\d)");
    std::string seen;
    digit.enumerateMatches("1 2 3", {}, nullptr, [&](const Regex::Match& match) {
        seen += match.matchText.substring(match.range);
        Regex(R"((.)(.)(.))").hasMatch("nested");  // must not disturb the walk
        return seen.size() < 2;
    });
    EXPECT_EQ(seen, "12");

    const std::string haystack = std::string(4 << 20, 'x') + "1";
    int reports = 0;
    bool reached = false;
    const auto reach = [&](const Regex::Match&) { return reached = true; };
    digit.enumerateMatches(
        haystack, {}, [&] { return ++reports > 0; }, reach);
    EXPECT_GT(reports, 0);
    EXPECT_TRUE(reached);
    reached = false;
    digit.enumerateMatches(
        haystack, {}, [] { return false; }, reach);
    EXPECT_FALSE(reached);
}

TEST(Regex, CursorResumesAndLoops) {
    const Regex::Text text("a1 \U0001F600 b2 c");
    const Regex pattern(R"(\w(\d))");
    auto cursor = firstMatch(text, pattern);
    ASSERT_TRUE(cursor);
    EXPECT_EQ(cursor->range(), (Range{0, 2}));
    cursor = nextMatch(text, *cursor);
    ASSERT_TRUE(cursor);
    EXPECT_EQ(cursor->range(), (Range{8, 10}));
    EXPECT_EQ(cursor->nsRange(text.string()), (Regex::UTF16Range{6, 2}));
    const LogCapture log;
    EXPECT_EQ(cursor->describeRange(text.string()), "{6, 2} -> 'b2'");
    EXPECT_EQ(log.text(), "{6, 2} -> 'b2'\n");
    EXPECT_FALSE(nextMatch(text, *cursor));
    EXPECT_EQ(nextMatch(text, *cursor, true)->range(), (Range{0, 2}));
    EXPECT_EQ(nextMatch(text, *cursor, false, 0)->range(), (Range{0, 2}));
    EXPECT_FALSE(nextMatch(text, *cursor, true, 12));

    const Regex::Text ending("a1 b2");
    const auto last = firstMatch(ending, pattern, 3);
    ASSERT_TRUE(last);
    EXPECT_FALSE(nextMatch(ending, *last, true));  // ended at the very end: no second search
    EXPECT_FALSE(firstMatch(ending, pattern, 5));
    EXPECT_FALSE(firstMatch("", Regex("")));
}

TEST(RegexMatcher, WalksWithoutBuildingValues) {
    Regex::Matcher matcher{Regex("(a)?(\u00E9|x*)")};
    const Regex::TextView text("a\u00E9xx");
    std::vector<std::string> walked;
    for (bool more = matcher.find(text); more; more = matcher.findNext(text)) {
        walked.push_back(std::string(matcher.captureText(0)) + "|" + std::string(matcher.captureText(1)));
    }
    EXPECT_THAT(walked, ElementsAre("a|\u00E9", "|xx", "|"));
    EXPECT_DEATH(matcher.capture(2), "Index out of range");
}

TEST(Regex, IsSharedByThreads) {
    const Regex pattern(R"((\d+):(\d+))");
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (std::size_t t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&, t] {
            const std::string text = std::to_string(t) + ":" + std::to_string(t + 7);
            for (int i = 0; i < 2000; ++i) {
                wrong[t] += pattern.firstMatch(text)->captureString(1) != std::to_string(t + 7) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_THAT(wrong, ElementsAre(0, 0, 0, 0));
}

}  // namespace
}  // namespace quorel
