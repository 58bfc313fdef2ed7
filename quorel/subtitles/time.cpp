#include "quorel/subtitles/time.h"

#include <bit>
#include <cmath>
#include <limits>

#include "quorel/foundation/fatal.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/time_parsing.h"
#include "quorel/subtitles/time_writing_private.h"

namespace quorel {
namespace {

// Truncates; what is too large is the largest, and what is negative is 0.
std::uint64_t saturated(double value) {
    constexpr double limit = 18446744073709551616.0;  // 2^64
    if (!(value > 0)) return 0;
    return value < limit ? static_cast<std::uint64_t>(value) : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace

SubtitlesTime::SubtitlesTime(double timeInSeconds) : timeInSeconds_(timeInSeconds) {
    if (!(timeInSeconds >= 0) || std::isinf(timeInSeconds)) {
        fatal("Subtitles::Time: seconds must be finite and not negative, not " + std::to_string(timeInSeconds));
    }
    const std::uint64_t whole = saturated(timeInSeconds);
    hour_ = whole / 3600;
    minute_ = whole / 60 % 60;
    second_ = whole % 60;
    // The same as fmod(timeInSeconds, 1), exactly, and many times faster.
    const double fraction = timeInSeconds < 0x1p53 ? timeInSeconds - static_cast<double>(whole) : 0;
    millisecond_ = saturated(fraction * 1000);
}

std::optional<SubtitlesTime> SubtitlesTime::fromString(std::string_view timeString) {
    try {
        return TimeParsing::parse(0, timeString);
    } catch (const SubTitlesError&) {
        return std::nullopt;
    }
}

std::string SubtitlesTime::text() const {
    std::string text;
    detail::appendTime(text, *this, '.');
    return text;
}

SubtitlesTime SubtitlesTime::timeshifting(double by) const {
    const double shifted = timeInSeconds_ + by;
    return SubtitlesTime(shifted >= 0 ? shifted : 0);
}

std::uint64_t SubtitlesTime::wholeMilliseconds() const {
    return saturated(timeInSeconds_ * 1000);
}

}  // namespace quorel

std::size_t std::hash<quorel::SubtitlesTime>::operator()(const quorel::SubtitlesTime& time) const noexcept {
    const double seconds = time.timeInSeconds() == 0 ? 0 : time.timeInSeconds();  // no negative zero
    std::size_t result = 0;
    for (const std::uint64_t value :
         {time.hour(), time.minute(), time.second(), time.millisecond(), std::bit_cast<std::uint64_t>(seconds)}) {
        result = (result ^ std::hash<std::uint64_t>()(value)) * 0x9E3779B97F4A7C15U;
        result ^= result >> 32;
    }
    return result;
}
