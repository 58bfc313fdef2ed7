// Cues by time, for players: what Subtitles answers by a walk through its cues, in logarithmic time.
//
//   const CueLookup lookup(document);                       // once
//   if (auto type = lookup.cueType(player.currentTime()))   // at every tick
//       show(type->isInsideCue ? document.cues()[type->cueIndex].text() : "");
//
// All answers are those of the document it was made of, to the cue. 24 bytes per cue; the document itself is not
// kept. An immutable value; any thread.
#pragma once

#include <vector>

#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API CueLookup {
public:
    // Takes time in proportion to the number of cues.
    explicit CueLookup(const Subtitles& subtitles);

    // The index of what Subtitles::firstCue(t) gives.
    std::optional<std::ptrdiff_t> firstCueIndex(double timeInSeconds) const;
    std::optional<std::ptrdiff_t> nextCueIndex(double timeInSeconds) const;
    std::optional<Subtitles::CueTypeResult> cueType(double timeInSeconds) const;

private:
    std::vector<double> starts_;
    std::vector<double> ends_;
    std::vector<double> latestEnds_;  // the greatest of ends_[0...i]
    // Starts ascend and no end is before its start. A document restored from storage may be otherwise, and is
    // walked.
    bool isOrdered_ = true;
};

}  // namespace quorel
