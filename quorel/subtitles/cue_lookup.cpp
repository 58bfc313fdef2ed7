#include "quorel/subtitles/cue_lookup.h"

#include <algorithm>
#include <cmath>

namespace quorel {

CueLookup::CueLookup(const Subtitles& subtitles) {
    const std::size_t count = subtitles.cues().size();
    starts_.reserve(count);
    ends_.reserve(count);
    latestEnds_.reserve(count);
    for (const Subtitles::Cue& cue : subtitles.cues()) {
        const double start = cue.startTimeInSeconds();
        const double end = cue.endTimeInSeconds();
        isOrdered_ = isOrdered_ && start <= end && (starts_.empty() || starts_.back() <= start);
        latestEnds_.push_back(latestEnds_.empty() ? end : std::max(latestEnds_.back(), end));
        starts_.push_back(start);
        ends_.push_back(end);
    }
}

std::optional<std::ptrdiff_t> CueLookup::firstCueIndex(double timeInSeconds) const {
    if (!isOrdered_) {
        for (std::size_t i = 0; i < starts_.size(); ++i) {
            if (starts_[i] <= timeInSeconds && ends_[i] >= timeInSeconds) return static_cast<std::ptrdiff_t>(i);
        }
        return std::nullopt;
    }
    if (std::isnan(timeInSeconds)) return std::nullopt;
    // Where the latest end first reaches the time, it is that very cue's end.
    const auto reached = std::lower_bound(latestEnds_.begin(), latestEnds_.end(), timeInSeconds);
    const auto index = reached - latestEnds_.begin();
    if (reached == latestEnds_.end() || starts_[static_cast<std::size_t>(index)] > timeInSeconds)
        return std::nullopt;
    return index;
}

std::optional<std::ptrdiff_t> CueLookup::nextCueIndex(double timeInSeconds) const {
    if (starts_.empty()) return std::nullopt;
    if (starts_.front() > timeInSeconds) return 0;
    if (!isOrdered_) {
        for (std::size_t i = 1; i < starts_.size(); ++i) {
            if (timeInSeconds > ends_[i - 1] && starts_[i] > timeInSeconds) return static_cast<std::ptrdiff_t>(i);
        }
        return std::nullopt;
    }
    // Behind the first cue that starts after the time, every cue's predecessor ends after it too.
    const auto next = std::upper_bound(starts_.begin(), starts_.end(), timeInSeconds);
    const auto index = next - starts_.begin();
    if (next == starts_.end() || !(timeInSeconds > ends_[static_cast<std::size_t>(index) - 1]))
        return std::nullopt;
    return index;
}

std::optional<Subtitles::CueTypeResult> CueLookup::cueType(double timeInSeconds) const {
    if (const auto inside = firstCueIndex(timeInSeconds)) return Subtitles::CueTypeResult{true, *inside};
    if (const auto next = nextCueIndex(timeInSeconds)) return Subtitles::CueTypeResult{false, *next};
    return std::nullopt;
}

}  // namespace quorel
