// The hand-written scans against the patterns that define the formats, on many generated lines: lines that match, with
// a few bytes changed, so that they come close from both sides.
#include <gtest/gtest.h>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/sbv_reading_private.h"
#include "quorel/subtitles/srt_scanner_private.h"
#include "quorel/subtitles/time_parsing.h"
#include "quorel/subtitles/vtt_reading_private.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

const int rounds = generatedLines();

Pieces timingPieces() {
    return Pieces({"0", "1", "59", "123", ":", ",", ".", " ", "\t", "-", "-->", ">", "x", "::", "\u00A0", "\u0661",
                   "\u2003", "\v"});
}

// Mostly a usual one.
std::string time(Pieces& pieces, char separator) {
    static const std::vector<std::string> times{"00:00:01@000",
                                                "1:2:3@456",
                                                "12:34:56@78",
                                                "59:9@001",
                                                "::7@123",
                                                "123456789012345678:00:00@000",
                                                "1:60:61@9999",
                                                "18446744073709551615:59:59@999",
                                                "18446744073709551616:00:00@000"};
    const std::size_t index = pieces.below(3 * times.size());
    return replacingAll(times[index < times.size() ? index : 0], "@", std::string(1, separator));
}

// What the pattern as it stands says: exactly one match, and its captures.
std::optional<std::array<std::string, 8>> only(const Regex& pattern, const std::string& line) {
    Regex::Matcher matcher(pattern);
    const auto text = Regex::TextView::trusted(line);
    if (!matcher.find(text)) return std::nullopt;
    std::array<std::string, 8> captures;
    for (std::size_t i = 0; i < captures.size(); ++i) captures[i] = matcher.captureText(i);
    if (matcher.findNext(text)) return std::nullopt;
    return captures;
}

std::optional<detail::TimingParts> numbers(const std::optional<std::array<std::string, 8>>& captures, bool isVTT) {
    if (!captures) return std::nullopt;
    detail::TimingParts parts;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto number = detail::readUnsigned((*captures)[i]);
        if (!number && !(isVTT && i % 4 < 2)) return std::nullopt;
        parts[i] = number.value_or(0);
    }
    return parts;
}

template <class Read>
void compare(const Regex& pattern, const std::string& arrow, const char* separators, bool isVTT, Read read) {
    Pieces pieces = timingPieces();
    int matched = 0;
    for (int i = 0; i < rounds; ++i) {
        std::string line;
        for (auto times = pieces.below(8) == 0 ? 2U : 1U; times > 0; --times) {
            line += time(pieces, separators[pieces.below(2)]) + arrow + time(pieces, separators[pieces.below(2)]);
        }
        line = pieces.changed(line);
        const auto expected = numbers(only(pattern, line), isVTT);
        detail::TimingParts parts;
        const bool isRead = read(line, parts);
        ASSERT_EQ(isRead, expected.has_value()) << line;
        if (!isRead) continue;
        ASSERT_EQ(parts, *expected) << line;
        ++matched;
    }
    // Both outcomes were tried in earnest.
    EXPECT_GT(matched, rounds / 20);
    EXPECT_LT(matched, rounds * 19 / 20);
}

TEST(Scans, ReadTheLanguagesOfTheirFormats) {
    detail::OnlyMatch srt(&detail::guardedSRTTimingPattern), sbv(&detail::guardedSBVTimingPattern);
    detail::OnlyMatch vtt(&detail::guardedVTTTimingPattern);
    compare(detail::srtTimingPattern(), " --> ", ",,", false, [&](const std::string& line, auto& parts) {
        return detail::scanSRTTiming(line, parts) || (srt.find(line) && srt.numbers(parts));
    });
    compare(detail::vttTimingPattern(), " --> ", ",.", true,
            [&](const std::string& line, auto& parts) { return detail::readVTTTiming(line, vtt, parts); });
    compare(detail::sbvTimingPattern(), ",", "..", false, [&](const std::string& line, auto& parts) {
        return detail::scanSBVTiming(line, parts) || (sbv.find(line) && sbv.numbers(parts));
    });
}

TEST(Scans, ReadTimesAsThePatternsDo) {
    const Regex milliseconds(R"(^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{3})$)");
    const Regex hundredths(R"(^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{2})$)");
    Pieces pieces = timingPieces();
    int matched = 0;
    for (int i = 0; i < rounds; ++i) {
        std::string text = pieces.changed(time(pieces, ":.,"[i % 3]));
        // A whole number counts milliseconds and has no pattern.
        if (detail::readSigned(text)) continue;
        std::size_t begin = text.size() / 2 * static_cast<std::size_t>(i % 8 == 0);  // now and then a part of one
        while (begin < text.size() && (static_cast<unsigned char>(text[begin]) & 0xC0) == 0x80) ++begin;
        text.erase(0, begin);
        if (detail::readSigned(text)) continue;
        const auto first = milliseconds.firstMatch(text);
        const auto second = hundredths.firstMatch(text);
        std::optional<Subtitles::Time> expected;
        if (first || second) {
            std::uint64_t parts[4];
            bool areNumbers = true;
            for (std::size_t k = 0; k < 4; ++k) {
                const auto number = detail::readUnsigned((first ? *first : *second).captureString(k));
                areNumbers = areNumbers && number;
                parts[k] = number.value_or(0);
            }
            if (areNumbers)
                expected = Subtitles::Time(parts[0], parts[1], parts[2], first ? parts[3] : parts[3] * 10);
        }
        const auto time = TimeParsing::parseIfPossible(text);
        ASSERT_EQ(time.has_value(), expected.has_value()) << text;
        if (!time) continue;
        ASSERT_EQ(time->text(), expected->text()) << text;
        ++matched;
    }
    EXPECT_GT(matched, rounds / 20);
    EXPECT_LT(matched, rounds * 19 / 20);
}

}  // namespace
}  // namespace quorel
