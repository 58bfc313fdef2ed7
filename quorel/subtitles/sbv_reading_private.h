// The pattern of SBV and the scan that stands in for it, where tests can compare them. Private to this room.
#pragma once

#include "quorel/subtitles/timing_lines_private.h"

namespace quorel::detail {

// The pattern of the timing line, as the format has it, and the same made fit for hostile lines: what can only begin
// where the search does is not searched for in slices, against the clock.
const Regex& sbvTimingPattern();
const Regex& guardedSBVTimingPattern();
// Reads the usual timing lines, and leaves all others, matching or not, to the pattern.
bool scanSBVTiming(std::string_view line, TimingParts& parts);

}  // namespace quorel::detail
