// The patterns of WebVTT and the scans that stand in for them, where tests can compare them. Private to this room.
#pragma once

#include <optional>

#include "quorel/subtitles/timing_lines_private.h"

namespace quorel::detail {

// The pattern of the timing line, as it is, and guarded as SRT's is.
const Regex& vttTimingPattern();
const Regex& guardedVTTTimingPattern();
// Reads the usual timing lines, and leaves all others, matching or not, to the pattern.
bool scanVTTTiming(std::string_view line, TimingParts& parts);
// Any timing line.
bool readVTTTiming(std::string_view line, OnlyMatch& pattern, TimingParts& parts);

struct VoiceTag {
    std::size_t begin;
    std::size_t end;
    std::string_view name;
};
// What the pattern "<v[^ ]* ([^>]*)>" matches first in the text, found without trying each "<v" anew.
std::optional<VoiceTag> findVoiceTag(std::string_view text, std::size_t from = 0);

}  // namespace quorel::detail
