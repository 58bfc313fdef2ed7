#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "quorel/foundation/date.h"
#include "quorel/foundation/notification.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

using ::testing::ElementsAre;

TEST(Text, TrimmingKnowsUnicodeWhiteSpaceInValidTextOnly) {
    const struct {
        const char *text, *trimmed;
    } table[] = {{"  a b\t\r\n", "a b"},
                 {"\u00A0\u2028\u3000x\u1680\u2003\u200A\u0085", "x"},
                 {"\u200Bx\u2060", "\u200Bx\u2060"},  // format characters, no white space
                 {" é ", "é"},
                 {"\u2000 \u205F\u202F\u2029", ""},
                 {" \xC2\xA0x\xFF ", "\xC2\xA0x\xFF"}};
    for (const auto& row : table) EXPECT_EQ(trimmedWhitespaceAndNewlines(row.text), row.trimmed) << row.text;
    EXPECT_EQ(trimmedBlanks("\t \n\u00A0x \t"), "\n\u00A0x");
}

TEST(Text, SplittingCountsOnlyThePiecesItKeeps) {
    EXPECT_THAT(split("a,,b,", ','), ElementsAre("a", "", "b", ""));
    EXPECT_THAT(split("a,,b,", ',', EmptyPieces::drop), ElementsAre("a", "b"));
    EXPECT_THAT(split("", ','), ElementsAre(""));
    EXPECT_THAT(split("", ',', EmptyPieces::drop), ElementsAre());
    EXPECT_THAT(split("=a==b=", '=', 1, EmptyPieces::drop), ElementsAre("a", "=b="));
    EXPECT_THAT(split("=a==b=", '=', 1, EmptyPieces::keep), ElementsAre("", "a==b="));
    EXPECT_THAT(split("===", '=', 1, EmptyPieces::drop), ElementsAre());
    EXPECT_THAT(split("a=b", '=', 0, EmptyPieces::drop), ElementsAre("a=b"));
}

TEST(Text, ReplacingDoesNotSearchWhatItPutIn) {
    EXPECT_EQ(replacingAll("aaa", "aa", "xaa"), "xaaa");
    EXPECT_EQ(replacingAll("a=b=", "=", ""), "ab");
    EXPECT_EQ(replacingAll("abc", "", "x"), "abc");
}

TEST(Date, TextsAreReadStrictly) {
    const DateFormatter fraction("yyyy-MM-dd'T'HH:mm:ss.SSSZ"), whole("yyyy-MM-dd'T'HH:mm:ssZ");
    const DateFormatter quoted("'at ''HH'' 'HH:mm dd/MM yyyy");
    const struct {
        const DateFormatter& formatter;
        const char* text;
        double seconds;
    } table[] = {
        {fraction, "2024-01-02T03:04:05.678Z", 1704164645.678},
        {fraction, "2024-01-02T03:04:05.6+0000", 1704164645.6},
        {fraction, "2024-01-02T03:04:05.678901234567-03:00", 1704175445.678901},
        {fraction, "1969-12-31T23:59:59.500Z", -0.5},
        {whole, "2024-01-02T03:04:05Z", 1704164645},
        {whole, "2024-02-29T23:59:59+0530", 1709231399},
        {quoted, "at 'HH' 12:30 02/01 1970", 86400 + 45000},
    };
    for (const auto& row : table) EXPECT_EQ(row.formatter.date(row.text), Date{row.seconds}) << row.text;
    for (const char* text : {"2024-01-02T03:04:05Z", "2024-01-02T03:04:05.Z"})
        EXPECT_FALSE(fraction.date(text)) << text;
    constexpr std::string_view refused =
        "2024-01-02T03:04:05.678Z|2023-02-29T00:00:00Z|2024-13-02T03:04:05Z|2024-01-02T24:00:00Z|2024-01-02T03:04:"
        "60Z|"
        "0000-01-02T03:04:05Z|2024-1-02T03:04:05Z|2024-01-02t03:04:05Z|2024-01-02T03:04:05|2024-01-02T03:04:05Z |"
        "2024-01-02T03:04:05+2400|2024-01-02T03:04:05+00|";
    for (const std::string_view text : split(refused, '|')) EXPECT_FALSE(whole.date(text)) << text;
}

TEST(Date, TextsAreWrittenInUtcAndCut) {
    const DateFormatter fraction("yyyy-MM-dd'T'HH:mm:ss.SSSZ"), whole("yyyy-MM-dd'T'HH:mm:ssZ");
    EXPECT_EQ(fraction.string({1704164645.678}), "2024-01-02T03:04:05.678+0000");
    EXPECT_EQ(whole.string({1704164645.999}), "2024-01-02T03:04:05+0000");
    EXPECT_EQ(fraction.string({-0.25}), "1969-12-31T23:59:59.750+0000");
    EXPECT_EQ(whole.string({-62135596800.0}), "0001-01-01T00:00:00+0000");
    for (const double out : {253402300800.0, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(whole.string({out}), "");
    }
    EXPECT_DEATH(DateFormatter("yy"), "unknown field: yy");
}

TEST(Notifications, ObserversMayComeAndGoDuringAPosting) {
    NotificationCenter centre;
    std::string calls;
    NotificationCenter::ObserverToken second = 0;
    const auto first = centre.addObserver("a", [&] {
        calls += "1";
        centre.removeObserver(second);
        centre.addObserver("a", [&] { calls += "3"; });
    });
    second = centre.addObserver("a", [&] { calls += "2"; });
    centre.addObserver("b", [&] { calls += "b"; });
    centre.post("a");
    EXPECT_EQ(calls, "1");
    centre.removeObserver(first);
    centre.removeObserver(first);
    centre.post("a");
    EXPECT_EQ(calls, "13");
}

}  // namespace
}  // namespace quorel
