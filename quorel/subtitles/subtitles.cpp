#include "quorel/subtitles/subtitles.h"

#include <algorithm>
#include <utility>

namespace quorel {
namespace {

bool startsEarlier(const SubtitlesCue& a, const SubtitlesCue& b) {
    return a.startTimeInSeconds() < b.startTimeInSeconds();
}

template <class Keep>
std::vector<SubtitlesCue> filtered(const std::vector<SubtitlesCue>& cues, Keep keep) {
    std::vector<SubtitlesCue> kept;
    std::copy_if(cues.begin(), cues.end(), std::back_inserter(kept), keep);
    return kept;
}

std::ptrdiff_t signedIndex(std::size_t index) {
    return static_cast<std::ptrdiff_t>(index);
}

}  // namespace

Subtitles::Subtitles(std::vector<Cue> cues) : cues_(std::move(cues)) {
    if (std::is_sorted(cues_.begin(), cues_.end(), startsEarlier)) return;
    // Sorts small keys and moves each cue once.
    std::vector<std::pair<double, std::size_t>> order(cues_.size());
    for (std::size_t i = 0; i < cues_.size(); ++i) order[i] = {cues_[i].startTimeInSeconds(), i};
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<Cue> sorted;
    sorted.reserve(cues_.size());
    for (const auto& [start, index] : order) sorted.push_back(std::move(cues_[index]));
    cues_ = std::move(sorted);
}

Subtitles Subtitles::restoring(std::vector<Cue> cues) {
    Subtitles document;
    document.cues_ = std::move(cues);
    return document;
}

Subtitles& Subtitles::empty() {
    static Subtitles document;
    return document;
}

std::vector<std::string_view> Subtitles::text() const {
    std::vector<std::string_view> texts;
    texts.reserve(cues_.size());
    for (const Cue& cue : cues_) texts.push_back(cue.text());
    return texts;
}

std::set<std::string, std::less<>> Subtitles::uniqueSpeakers() const {
    std::set<std::string, std::less<>> speakers;
    for (const Cue& cue : cues_) {
        if (cue.speaker() && !speakers.contains(*cue.speaker())) speakers.emplace(*cue.speaker());
    }
    return speakers;
}

const Subtitles::Cue* Subtitles::firstCue(double timeInSeconds) const {
    const auto found =
        std::find_if(cues_.begin(), cues_.end(), [&](const Cue& cue) { return cue.contains(timeInSeconds); });
    return found != cues_.end() ? &*found : nullptr;
}

std::optional<std::ptrdiff_t> Subtitles::nextCueIndex(double timeInSeconds) const {
    if (cues_.empty()) return std::nullopt;
    if (cues_.front().startTimeInSeconds() > timeInSeconds) return 0;
    for (std::size_t i = 1; i < cues_.size(); ++i) {
        if (timeInSeconds > cues_[i - 1].endTimeInSeconds() && cues_[i].startTimeInSeconds() > timeInSeconds) {
            return signedIndex(i);
        }
    }
    return std::nullopt;
}

std::optional<Subtitles::CueTypeResult> Subtitles::cueType(double timeInSeconds) const {
    if (const Cue* cue = firstCue(timeInSeconds)) return CueTypeResult{true, cue - cues_.data()};
    if (const auto next = nextCueIndex(timeInSeconds)) return CueTypeResult{false, *next};
    return std::nullopt;
}

std::optional<std::ptrdiff_t> Subtitles::cueIndex(std::int64_t forPosition) const {
    const auto found =
        std::find_if(cues_.begin(), cues_.end(), [&](const Cue& cue) { return cue.position() == forPosition; });
    if (found == cues_.end()) return std::nullopt;
    return found - cues_.begin();
}

Subtitles Subtitles::positionSorted() const {
    std::vector<Cue> sorted = cues_;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Cue& a, const Cue& b) {
        return a.position().value_or(0) < b.position().value_or(0);
    });
    return Subtitles(std::move(sorted));
}

Subtitles Subtitles::timeShifting(double by, double at) const {
    std::vector<Cue> shifted;
    shifted.reserve(cues_.size());
    for (const Cue& cue : cues_) shifted.push_back(cue.inserting(by, at));
    return Subtitles(std::move(shifted));
}

Subtitles Subtitles::removingEmptyCues() const {
    return Subtitles(filtered(cues_, [](const Cue& cue) { return !cue.text().empty(); }));
}

Subtitles Subtitles::removingInvalidCues() const {
    return Subtitles(filtered(cues_, [](const Cue& cue) { return cue.isValidTime(); }));
}

std::vector<std::ptrdiff_t> Subtitles::indexesOfInvalidCues() const {
    std::vector<std::ptrdiff_t> indexes;
    for (std::size_t i = 0; i < cues_.size(); ++i) {
        if (!cues_[i].isValidTime()) indexes.push_back(signedIndex(i));
    }
    return indexes;
}

std::vector<Subtitles::Cue> Subtitles::cuesOfZeroLength() const {
    return filtered(cues_, [](const Cue& cue) { return cue.isZeroLength(); });
}

Subtitles Subtitles::setIncrementingPositionValues() const {
    std::vector<Cue> numbered;
    numbered.reserve(cues_.size());
    for (const Cue& cue : cues_) numbered.push_back(cue.renumbered(signedIndex(numbered.size()) + 1));
    return Subtitles(std::move(numbered));
}

}  // namespace quorel
