// The pattern of SBV and the scan that stands in for it, where tests can compare them. Private to this room.
#pragma once

#include "quorel/subtitles/timing_lines_private.h"

namespace quorel::detail {

const Regex& sbvTimingPattern();
// Reads the usual timing lines, and leaves all others, matching or not, to the pattern.
bool scanSBVTiming(std::string_view line, TimingParts& parts);

}  // namespace quorel::detail
