// An instant of a subtitle document.
//
//   const Subtitles::Time start(0, 1, 2, 500);        // 00:01:02.500
//   const Subtitles::Time later = start + 1.25;       // 63.75 s
//   later.text();                                     // "00:01:03.750"
//
// The type is written Subtitles::Time. A value; any thread.
//
// Two renderings of the instant stand side by side, the parts (hours to milliseconds) and the exact seconds, and
// neither is computed from the other again. Order and arithmetic go by the seconds, writing by the parts, and
// equality by whole milliseconds: two times within one millisecond are equal although one may be less than the
// other. That mismatch is deliberate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/subtitles/export.h"

namespace quorel {

class QUOREL_SUBTITLES_API SubtitlesTime {
public:
    SubtitlesTime() = default;  // zero

    // Takes the parts as they are: 75 minutes stay 75 minutes, and count in the seconds.
    SubtitlesTime(std::uint64_t hour, std::uint64_t minute, std::uint64_t second, std::uint64_t millisecond)
        : hour_(hour),
          minute_(minute),
          second_(second),
          millisecond_(millisecond),
          // In floating point throughout: no part is too large for it.
          timeInSeconds_(static_cast<double>(millisecond) * 0.001 +
                         (static_cast<double>(second) +
                          (static_cast<double>(minute) * 60 + static_cast<double>(hour) * 3600))) {}

    // Cuts and never rounds: 0.9999 s has 999 milliseconds. Parts that do not fit 64 bits are the largest that do.
    // Negative, infinite and NaN seconds are a programming error and stop the process: clamp first.
    explicit SubtitlesTime(double timeInSeconds);

    // "01:02:03,500" and its like, or a whole number of milliseconds; see time_parsing.h. Absent for anything
    // else; a negative number stops the process, as above.
    static std::optional<SubtitlesTime> fromString(std::string_view timeString);

    // All five values as they were stored once, even where they contradict each other.
    static SubtitlesTime restoring(std::uint64_t hour, std::uint64_t minute, std::uint64_t second,
                                   std::uint64_t millisecond, double timeInSeconds) {
        SubtitlesTime time(hour, minute, second, millisecond);
        time.timeInSeconds_ = timeInSeconds;
        return time;
    }

    std::uint64_t hour() const { return hour_; }
    std::uint64_t minute() const { return minute_; }
    std::uint64_t second() const { return second_; }
    std::uint64_t millisecond() const { return millisecond_; }
    double timeInSeconds() const { return timeInSeconds_; }

    // "00:01:02.500" of the parts, each in full where it is wider.
    std::string text() const;
    std::string debugDescription() const { return "Time: " + text(); }

    // Never below zero: a sum that is negative or NaN counts as 0.
    SubtitlesTime timeshifting(double by) const;
    friend SubtitlesTime operator+(const SubtitlesTime& time, double seconds) {
        return time.timeshifting(seconds);
    }
    friend SubtitlesTime operator-(const SubtitlesTime& time, double seconds) {
        return time.timeshifting(-seconds);
    }

    friend bool operator==(const SubtitlesTime& a, const SubtitlesTime& b) {
        return a.wholeMilliseconds() == b.wholeMilliseconds();
    }
    friend bool operator<(const SubtitlesTime& a, const SubtitlesTime& b) {
        return a.timeInSeconds_ < b.timeInSeconds_;
    }
    friend bool operator>(const SubtitlesTime& a, const SubtitlesTime& b) { return b < a; }
    friend bool operator<=(const SubtitlesTime& a, const SubtitlesTime& b) { return !(b < a); }
    friend bool operator>=(const SubtitlesTime& a, const SubtitlesTime& b) { return !(a < b); }

private:
    std::uint64_t wholeMilliseconds() const;

    std::uint64_t hour_ = 0;
    std::uint64_t minute_ = 0;
    std::uint64_t second_ = 0;
    std::uint64_t millisecond_ = 0;
    double timeInSeconds_ = 0;
};

}  // namespace quorel

// Of all five stored values, so that times which compare equal may hash differently. As with the order, this is
// deliberate: do not key a table by times.
template <>
struct std::hash<quorel::SubtitlesTime> {
    std::size_t operator()(const quorel::SubtitlesTime& time) const noexcept;
};
