// The hand-written scans against the patterns that define the formats, on many generated lines: lines that match, with
// a few bytes changed, so that they come close from both sides.
#include <gtest/gtest.h>

#include <random>

#include "quorel/subtitles/sbv_reading_private.h"
#include "quorel/subtitles/srt_scanner_private.h"
#include "quorel/subtitles/time_parsing.h"
#include "quorel/subtitles/vtt_reading_private.h"
#include "tests/subtitles/coder_cases.h"

namespace quorel {
namespace {

const int rounds = generatedLines();

class Generator {
public:
    std::string line(const char* separators) {
        std::string line;
        for (auto times = random_() % 8 == 0 ? 2U : 1U; times > 0; --times) {
            if (random_() % 16 == 0) line += piece();
            time(line, separators);
            line += random_() % 8 == 0 ? piece() : arrow_;
            time(line, separators);
            if (random_() % 8 == 0) line += piece();
        }
        for (auto changes = random_() % 4; changes > 0 && !line.empty(); --changes) {
            const std::size_t at = random_() % line.size();
            if (static_cast<unsigned char>(line[at]) >= 0x80) continue;  // stay UTF-8
            switch (random_() % 3) {
                case 0:
                    line.replace(at, 1, piece());
                    break;
                case 1:
                    line.erase(at, 1);
                    break;
                default:
                    line.insert(at, piece());
                    break;
            }
        }
        return line;
    }
    void setArrow(std::string arrow) { arrow_ = std::move(arrow); }

private:
    const char* piece() {
        static constexpr const char* pieces[] = {"0", "1",  "59",     "123",    ":",      ",",
                                                 ".", " ",  "\t",     "-",      "-->",    ">",
                                                 "x", "::", "\u00A0", "\u0661", "\u2003", "\v"};
        return pieces[random_() % std::size(pieces)];
    }
    void digits(std::string& line, unsigned long count) {
        while (count-- > 0) line += static_cast<char>('0' + random_() % 10);
    }
    void time(std::string& line, const char* separators) {
        if (random_() % 8 != 0) {
            digits(line, random_() % 32 == 0 ? 18U + random_() % 4U : 1U + random_() % 2U);
            line += ':';
        }
        digits(line, random_() % 8 == 0 ? random_() % 4 : 2);
        line += ':';
        digits(line, random_() % 8 == 0 ? random_() % 4 : 2);
        line += separators[random_() % 2];
        digits(line, random_() % 8 == 0 ? random_() % 5 : 3);
    }

    std::mt19937 random_{1};
    std::string arrow_ = " --> ";
};

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
void compare(const Regex& pattern, Generator generator, const char* separators, bool isVTT, Read read) {
    int matched = 0;
    for (int i = 0; i < rounds; ++i) {
        const std::string line = generator.line(separators);
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

TEST(Scans, ReadTheLanguageOfSRT) {
    detail::OnlyMatch pattern(&detail::guardedSRTTimingPattern);
    compare(detail::srtTimingPattern(), Generator(), ",,", false, [&](const std::string& line, auto& parts) {
        return detail::scanSRTTiming(line, parts) || (pattern.find(line) && pattern.numbers(parts));
    });
}

TEST(Scans, ReadTheLanguageOfVTT) {
    detail::OnlyMatch pattern(&detail::guardedVTTTimingPattern);
    compare(detail::vttTimingPattern(), Generator(), ",.", true,
            [&](const std::string& line, auto& parts) { return detail::readVTTTiming(line, pattern, parts); });
}

TEST(Scans, ReadTheLanguageOfSBV) {
    Generator generator;
    generator.setArrow(",");
    detail::OnlyMatch pattern(&detail::guardedSBVTimingPattern);
    compare(detail::sbvTimingPattern(), generator, "..", false, [&](const std::string& line, auto& parts) {
        return detail::scanSBVTiming(line, parts) || (pattern.find(line) && pattern.numbers(parts));
    });
}

TEST(Scans, ReadTimesAsThePatternsDo) {
    const Regex milliseconds(R"(^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{3})$)");
    const Regex hundredths(R"(^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{2})$)");
    Generator generator;
    generator.setArrow(" ");
    int matched = 0;
    for (int i = 0; i < rounds; ++i) {
        std::string text = generator.line(i % 3 == 0 ? ":," : ".,");
        text.resize(std::min(text.size(), text.find_first_of("-> ")));  // the first time of the line
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

TEST(Scans, FindVoiceTagsAsThePatternDoes) {
    const Regex pattern("<v[^ ]* ([^>]*)>");
    std::mt19937 random(1);
    constexpr const char* pieces[] = {"<v", "<", "v", " ", ">", "a", "\n", "\u00E9", ".", "<v "};
    for (int i = 0; i < rounds; ++i) {
        std::string text;
        for (auto count = random() % 12; count > 0; --count) text += pieces[random() % std::size(pieces)];
        Regex::Matcher matcher(pattern);
        const auto view = Regex::TextView::trusted(text);
        bool matches = matcher.find(view);
        for (auto tag = detail::findVoiceTag(text); tag || matches; tag = detail::findVoiceTag(text, tag->end)) {
            ASSERT_EQ(tag.has_value(), matches) << text;
            ASSERT_EQ((Regex::Range{tag->begin, tag->end}), matcher.range()) << text;
            ASSERT_EQ(tag->name, matcher.captureText(0)) << text;
            matches = matcher.findNext(view);
        }
    }
}

}  // namespace
}  // namespace quorel
