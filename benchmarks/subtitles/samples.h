// The files that are measured.
#pragma once

#include <string>

#include "quorel/subtitles/subtitles.h"

namespace quorel::bench {

// A film's worth of dialogue per 1,500 cues: 93 bytes per cue, one or two lines, some letters with accents.
std::string makeSRT(int cues);

// The same in formats that have no encoder.
std::string makeSUB(const Subtitles& document);
std::string makeASS(const Subtitles& document);
std::string makeLRC(const Subtitles& document);  // its times are within the format's 100 minutes

}  // namespace quorel::bench
