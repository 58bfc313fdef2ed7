// How the formats write times. Private to this room. The stored parts are written, with leading zeros up to a
// width and in full beyond it.
#pragma once

#include <charconv>
#include <cstring>
#include <string>

#include "quorel/subtitles/time.h"

namespace quorel::detail {

inline char* writePadded(char* out, std::uint64_t value, int width) {
    if (width == 2 && value < 100) {
        *out++ = static_cast<char>('0' + value / 10);
        *out++ = static_cast<char>('0' + value % 10);
        return out;
    }
    if (width == 3 && value < 1000) {
        *out++ = static_cast<char>('0' + value / 100);
        *out++ = static_cast<char>('0' + value / 10 % 10);
        *out++ = static_cast<char>('0' + value % 10);
        return out;
    }
    return std::to_chars(out, out + 20, value).ptr;  // wider than the width, which is 2 or 3
}

inline constexpr std::size_t longestTime = 4 * 20 + 3;

// "00:01:02.500" with `point` before the milliseconds, into at least longestTime bytes.
inline char* writeTime(char* out, const SubtitlesTime& time, char point) {
    out = writePadded(out, time.hour(), 2);
    *out++ = ':';
    out = writePadded(out, time.minute(), 2);
    *out++ = ':';
    out = writePadded(out, time.second(), 2);
    *out++ = point;
    return writePadded(out, time.millisecond(), 3);
}

inline void appendTime(std::string& out, const SubtitlesTime& time, char point) {
    char buffer[longestTime];
    out.append(buffer, writeTime(buffer, time, point));
}

// The start, `between`, the end and a line feed. `between` has at most 8 bytes.
inline void appendTimingLine(std::string& out, const SubtitlesTime& start, std::string_view between,
                             const SubtitlesTime& end, char point) {
    char buffer[2 * longestTime + 9];
    char* at = writeTime(buffer, start, point);
    std::memcpy(at, between.data(), between.size());
    at = writeTime(at + between.size(), end, point);
    *at++ = '\n';
    out.append(buffer, at);
}

}  // namespace quorel::detail
