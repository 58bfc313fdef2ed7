// The writing of WebVTT, cue by cue. Private to this room.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quorel/subtitles/time_writing_private.h"

namespace quorel::detail {

inline constexpr std::string_view vttHeader = "WEBVTT\n\n";

// What stands before the text of a cue, but for its speaker.
inline void appendVTTTiming(std::string& out, std::optional<std::string_view> identifier,
                            const SubtitlesTime& start, const SubtitlesTime& end) {
    if (identifier) out += *identifier;
    out += '\n';
    appendTimingLine(out, start, " --> ", end, '.');
}

}  // namespace quorel::detail
