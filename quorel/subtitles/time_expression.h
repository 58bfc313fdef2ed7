// The value of a timing attribute of TTML (W3C TTML1, 10.3.1 timeExpression), as far as this SDK reads it.
//
//   TimeExpression::parse("00:01:02.500")->time();    // 62.5 s
//   TimeExpression::parse("62s")->time();             // 62 s
//
// Two readings are the SDK's own, and deliberate: the fraction of a clock time counts milliseconds whatever the
// number of its digits, so that ".5" is 5 ms, and the metric of an offset time is not looked at, so that "62ms"
// and "62h" are 62 seconds like "62s". Writing is the inverse of this reading. A value; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "quorel/subtitles/export.h"
#include "quorel/subtitles/time.h"

namespace quorel {

struct QUOREL_SUBTITLES_API TimeExpression {
    // Hours, minutes and seconds, with a fraction, or with frames and their parts.
    struct ClockTime {
        std::int64_t hours = 0;
        std::int64_t minutes = 0;
        std::int64_t seconds = 0;
        std::optional<std::int64_t> fraction = std::nullopt;
        std::optional<std::int64_t> frames = std::nullopt;
        std::optional<std::int64_t> subFrames = std::nullopt;

        bool operator==(const ClockTime&) const = default;
    };
    // Hours, minutes, seconds, milliseconds, frames, ticks.
    enum class Metric { h, m, s, ms, f, t };
    // A number and its metric.
    struct OffsetTime {
        double value = 0;  // as written
        Metric metric = Metric::s;

        bool operator==(const OffsetTime&) const = default;
    };

    // What these match anywhere in the text, exactly once, is a time expression; the clock time is tried first. \d
    // is any decimal digit of Unicode, but only ASCII digits are read as numbers.
    static constexpr std::string_view clockTimePattern =
        R"((\d{2,}):(\d{2}):(\d{2})(?:\.(\d+)|:(\d{2,})(?:\.(\d+))?)?)";
    static constexpr std::string_view offsetTimePattern = R"((\d+(?:\.\d+)?)(ms|h|m|s|f|t))";

    std::variant<ClockTime, OffsetTime> value;

    // Absent when neither pattern fits, or a number is too large.
    static std::optional<TimeExpression> parse(std::string_view text);
    // The parts of the time, the milliseconds as the fraction.
    static TimeExpression clockTime(const SubtitlesTime& time);

    // Clamps hours to 0...999, minutes and seconds to 0...59, the fraction to 0...999; drops frames and
    // sub-frames.
    SubtitlesTime time() const;
    // "00:01:02.5" of 62.005 s: the fraction is not padded. With frames instead of a fraction "00:01:02:12.1". Of
    // an offset time, its number and its metric.
    std::string text() const;

    bool operator==(const TimeExpression&) const = default;
};

}  // namespace quorel
