#include "quorel/subtitles/time_expression.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "quorel/subtitles/character.h"
#include "quorel/subtitles/number_writing_private.h"
#include "quorel/subtitles/numbers_private.h"

namespace quorel {
namespace {

// Matchers of the two patterns, by hand because a backtracking engine needs quadratic time for a long row of
// digits. All starts inside one row of digits share what follows it, so that only its first needs a look.

struct ClockMatch {
    std::array<std::string_view, 6> captures;
    std::size_t end;
};

struct OffsetMatch {
    std::string_view number;
    std::string_view metric;
    std::size_t end;
};

char at(std::string_view text, std::size_t index) {
    return index < text.size() ? text[index] : '\0';
}

std::string_view between(std::string_view text, std::size_t from, std::size_t to) {
    return text.substr(from, to - from);
}

std::optional<ClockMatch> matchClockFrom(std::string_view text, std::size_t from, DigitRun hours) {
    if (hours.count < 2 || at(text, hours.end) != ':') return std::nullopt;
    const DigitRun minutes = decimalDigits(text, hours.end + 1, 2);
    if (minutes.count < 2 || at(text, minutes.end) != ':') return std::nullopt;
    const DigitRun seconds = decimalDigits(text, minutes.end + 1, 2);
    if (seconds.count < 2) return std::nullopt;

    ClockMatch match{{between(text, from, hours.end), between(text, hours.end + 1, minutes.end),
                      between(text, minutes.end + 1, seconds.end)},
                     seconds.end};
    const auto capture = [&](std::size_t index, std::size_t begin, DigitRun digits) {
        match.captures[index] = between(text, begin, digits.end);
        match.end = digits.end;
    };
    const std::size_t begin = seconds.end + 1;
    const DigitRun digits = decimalDigits(text, begin);
    if (at(text, seconds.end) == '.' && digits.count > 0) {
        capture(3, begin, digits);
    } else if (at(text, seconds.end) == ':' && digits.count >= 2) {
        capture(4, begin, digits);
        const DigitRun subFrames = decimalDigits(text, digits.end + 1);
        if (at(text, digits.end) == '.' && subFrames.count > 0) capture(5, digits.end + 1, subFrames);
    }
    return match;
}

std::optional<OffsetMatch> matchOffsetFrom(std::string_view text, std::size_t from, DigitRun whole) {
    std::size_t end = whole.end;
    if (at(text, end) == '.') {
        const DigitRun fraction = decimalDigits(text, end + 1);
        if (fraction.count > 0) end = fraction.end;
    }
    std::size_t metric = 0;
    if (between(text, end, std::min(end + 2, text.size())) == "ms") {
        metric = 2;
    } else if (end < text.size() && std::string_view("hmsft").find(text[end]) != std::string_view::npos) {
        metric = 1;
    }
    if (metric == 0) return std::nullopt;
    return OffsetMatch{between(text, from, end), text.substr(end, metric), end + metric};
}

// The only match in the text; absent when there is none or a second one.
template <class Match>
std::optional<Match> onlyMatch(std::string_view text,
                               std::optional<Match> (*matchFrom)(std::string_view, std::size_t, DigitRun)) {
    std::optional<Match> only;
    for (std::size_t from = 0; from < text.size();) {
        const DigitRun digits = decimalDigits(text, from);
        if (digits.count == 0) {
            ++from;
            continue;
        }
        const auto match = matchFrom(text, from, digits);
        if (match && only) return std::nullopt;
        if (match) only = match;
        from = match ? match->end : digits.end;
    }
    return only;
}

// The usual form, "00:01:02.500" and nothing else: it is a match by itself and leaves no room for another.
std::optional<TimeExpression> parseUsualClock(std::string_view text) {
    detail::TimingScanner scanner(text);
    std::uint64_t hours = 0, minutes = 0, seconds = 0, fraction = 0;
    if (!scanner.digits(2, 18, hours) || !scanner.literal(':') || !scanner.exactDigits(2, minutes) ||
        !scanner.literal(':') || !scanner.exactDigits(2, seconds)) {
        return std::nullopt;
    }
    TimeExpression::ClockTime clock{static_cast<std::int64_t>(hours), static_cast<std::int64_t>(minutes),
                                    static_cast<std::int64_t>(seconds)};
    if (!scanner.atEnd()) {
        if (!scanner.literal('.') || !scanner.digits(1, 18, fraction) || !scanner.atEnd()) return std::nullopt;
        clock.fraction = static_cast<std::int64_t>(fraction);
    }
    return TimeExpression{clock};
}

std::optional<TimeExpression> parseClock(std::string_view text) {
    const auto match = onlyMatch<ClockMatch>(text, matchClockFrom);
    if (!match) return std::nullopt;
    std::array<std::optional<std::int64_t>, 6> numbers;
    std::transform(match->captures.begin(), match->captures.end(), numbers.begin(),
                   [](std::string_view capture) { return detail::readSigned(capture); });
    if (!numbers[0] || !numbers[1] || !numbers[2]) return std::nullopt;
    return TimeExpression{
        TimeExpression::ClockTime{*numbers[0], *numbers[1], *numbers[2], numbers[3], numbers[4], numbers[5]}};
}

using Metric = TimeExpression::Metric;
constexpr std::array<std::pair<std::string_view, Metric>, 6> metrics{{{"h", Metric::h},
                                                                      {"m", Metric::m},
                                                                      {"s", Metric::s},
                                                                      {"ms", Metric::ms},
                                                                      {"f", Metric::f},
                                                                      {"t", Metric::t}}};

std::optional<TimeExpression> parseOffset(std::string_view text) {
    const auto match = onlyMatch<OffsetMatch>(text, matchOffsetFrom);
    if (!match) return std::nullopt;
    const std::optional<double> value = detail::readDouble(match->number);
    if (!value) return std::nullopt;
    for (const auto& [name, metric] : metrics) {
        if (name == match->metric) return TimeExpression{TimeExpression::OffsetTime{*value, metric}};
    }
    return std::nullopt;
}

void appendNumber(std::string& text, std::int64_t number, int width) {
    const auto digits = std::to_string(number);
    if (digits.size() < static_cast<std::size_t>(width))
        text.append(static_cast<std::size_t>(width) - digits.size(), '0');
    text += digits;
}

}  // namespace

std::optional<TimeExpression> TimeExpression::parse(std::string_view text) {
    if (auto clock = parseUsualClock(text)) return clock;
    if (auto clock = parseClock(text)) return clock;
    return parseOffset(text);
}

TimeExpression TimeExpression::clockTime(const SubtitlesTime& time) {
    const auto clipped = [](std::uint64_t part) {
        return static_cast<std::int64_t>(std::min<std::uint64_t>(part, std::numeric_limits<std::int64_t>::max()));
    };
    return {ClockTime{clipped(time.hour()), clipped(time.minute()), clipped(time.second()),
                      clipped(time.millisecond())}};
}

SubtitlesTime TimeExpression::time() const {
    if (const auto* offset = std::get_if<OffsetTime>(&value)) return SubtitlesTime(offset->value);
    const auto& clock = std::get<ClockTime>(value);
    const auto clamped = [](std::int64_t part, std::int64_t high) {
        return static_cast<std::uint64_t>(std::clamp<std::int64_t>(part, 0, high));
    };
    return SubtitlesTime(clamped(clock.hours, 999), clamped(clock.minutes, 59), clamped(clock.seconds, 59),
                         clamped(clock.fraction.value_or(0), 999));
}

std::string TimeExpression::text() const {
    std::string text;
    if (const auto* offset = std::get_if<OffsetTime>(&value)) {
        detail::appendDouble(text, offset->value);
        text += metrics[static_cast<std::size_t>(offset->metric)].first;
        return text;
    }
    const auto& clock = std::get<ClockTime>(value);
    appendNumber(text, clock.hours, 2);
    text += ':';
    appendNumber(text, clock.minutes, 2);
    text += ':';
    appendNumber(text, clock.seconds, 2);
    const auto appendPart = [&](char separator, std::int64_t part) {
        text += separator;
        text += std::to_string(part);
    };
    if (clock.fraction) {
        appendPart('.', *clock.fraction);
    } else if (clock.frames) {
        appendPart(':', *clock.frames);
        if (clock.subFrames) appendPart('.', *clock.subFrames);
    }
    return text;
}

}  // namespace quorel
