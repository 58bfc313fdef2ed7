#include "engines/gstreamer/text_timeline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quorel::gstreamer {
namespace {

// Maps of segments are whole 90 kHz ticks, which rounds the same cue in two of them apart.
constexpr double sameTime = 0.002;

bool startsBefore(const std::shared_ptr<SubtitleCue>& a, const std::shared_ptr<SubtitleCue>& b) {
    return a->isBefore(*b);
}

bool isSame(const WebVTTCueBlock& a, const WebVTTCueBlock& b) {
    return std::abs(a.start - b.start) < sameTime && std::abs(a.end - b.end) < sameTime && a.payload == b.payload;
}

}  // namespace

bool SubtitleCue::isBefore(const SubtitleCue& other) const {
    if (block_.start != other.block_.start) return block_.start < other.block_.start;
    if (block_.end != other.block_.end) return block_.end > other.block_.end;
    return number_ < other.number_;
}

void CueTimeline::put(std::uint64_t segment, std::vector<WebVTTCueBlock> blocks,
                      const std::weak_ptr<TextTrack>& track) {
    SubtitleCues& own = segments_[segment];
    own.clear();
    const auto known = [&](const WebVTTCueBlock& block) -> std::shared_ptr<SubtitleCue> {
        for (const auto& cue : active_) {
            if (isSame(cue->block(), block)) return cue;
        }
        auto at = std::lower_bound(cues_.begin(), cues_.end(), block.start - sameTime,
                                   [](const auto& cue, double start) { return cue->startTime() < start; });
        for (; at != cues_.end() && (*at)->startTime() < block.start + sameTime; ++at) {
            if (isSame((*at)->block(), block)) return *at;
        }
        return nullptr;
    };
    for (auto& block : blocks) {
        auto cue = known(block);
        own.push_back(cue ? std::move(cue) : std::make_shared<SubtitleCue>(std::move(block), track, ++read_));
    }
    isNew_ = true;
    index();
}

void CueTimeline::drop(std::uint64_t segment) {
    if (segments_.erase(segment) > 0) index();
}

void CueTimeline::clear() {
    *this = CueTimeline();
}

void CueTimeline::index() {
    cues_.clear();
    for (const auto& [number, cues] : segments_) cues_.insert(cues_.end(), cues.begin(), cues.end());
    std::sort(cues_.begin(), cues_.end(), startsBefore);
    cues_.erase(std::unique(cues_.begin(), cues_.end()), cues_.end());
    latestEnds_.clear();
    double latest = -std::numeric_limits<double>::infinity();
    for (const auto& cue : cues_) latestEnds_.push_back(latest = std::max(latest, cue->endTime()));
    next_ = firstNotBefore(position_);
}

// Every cue before it has ended at `position`.
std::size_t CueTimeline::firstNotBefore(double position) const {
    const auto first = std::upper_bound(latestEnds_.begin(), latestEnds_.end(), position);
    return static_cast<std::size_t>(first - latestEnds_.begin());
}

std::optional<CueTimeline::Step> CueTimeline::stepTowards(double position, Motion motion) {
    if (std::exchange(isNew_, false) || motion == Motion::jump || position < position_) {
        if (position != position_) next_ = firstNotBefore(position);
        position_ = position;
    }
    for (;;) {
        const auto leaving = std::find_if(active_.begin(), active_.end(),
                                          [this](const auto& cue) { return !cue->covers(position_); });
        if (leaving != active_.end()) {
            Step step{*leaving, false};
            active_.erase(leaving);
            return step;
        }
        while (next_ < cues_.size() && cues_[next_]->startTime() <= position_) {
            const auto& cue = cues_[next_++];
            if (!cue->covers(position_) || std::find(active_.begin(), active_.end(), cue) != active_.end())
                continue;
            active_.insert(std::upper_bound(active_.begin(), active_.end(), cue, startsBefore), cue);
            return Step{cue, true};
        }
        if (position_ >= position) return {};
        position_ = std::min(position, nextChange());
    }
}

double CueTimeline::nextChange() const {
    double next = std::numeric_limits<double>::infinity();
    if (next_ < cues_.size()) next = cues_[next_]->startTime();
    for (const auto& cue : active_) next = std::min(next, cue->endTime());
    return next;
}

}  // namespace quorel::gstreamer
