#include "engines/simulated/tracks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/events.h"

namespace quorel::simulated {
namespace {

std::string describe(const ScriptedTrack& track) {
    const auto mode = [&] {
        switch (track.mode()) {
            case TextTrackMode::disabled:
                return "disabled";
            case TextTrackMode::hidden:
                return "hidden";
            case TextTrackMode::showing:
                return "showing";
        }
        return "";
    };
    return track.language() + " " + mode();
}

}  // namespace

std::shared_ptr<ScriptedTrack> ScriptedTrack::make(const SimulatedTrack& script, std::weak_ptr<TrackList> list) {
    auto track = std::make_shared<ScriptedTrack>();
    track->kind_ = script.kind;
    track->label_ = script.label;
    track->language_ = script.language;
    track->list_ = std::move(list);
    for (const auto& cue : script.cues) {
        if (cue.end > cue.start) track->cues_.push_back(std::make_shared<Cue>(cue, track));
    }
    std::stable_sort(track->cues_.begin(), track->cues_.end(),
                     [](const auto& a, const auto& b) { return a->startTime() < b->startTime(); });
    return track;
}

void ScriptedTrack::setMode(TextTrackMode mode) {
    if (const auto list = list_.lock()) {
        list->setMode(shared_from_this(), mode);
    } else {
        changeMode(mode);
    }
}

std::vector<std::shared_ptr<TextTrackCue>> ScriptedTrack::activeCues() const {
    return {active_.begin(), active_.end()};
}

void ScriptedTrack::changeMode(TextTrackMode mode) {
    mode_ = mode;
    if (mode == TextTrackMode::disabled) {
        active_.clear();
        next_ = 0;
    }
}

std::optional<ScriptedTrack::Step> ScriptedTrack::stepTowards(double position) {
    if (position < position_) next_ = 0;
    position_ = position;
    if (mode_ == TextTrackMode::disabled) return {};
    const auto leaving =
        std::find_if(active_.begin(), active_.end(), [&](const auto& cue) { return !cue->covers(position); });
    if (leaving != active_.end()) {
        Step step{*leaving, false};
        active_.erase(leaving);
        return step;
    }
    while (next_ < cues_.size() && cues_[next_]->startTime() <= position) {
        const auto& cue = cues_[next_++];
        if (!cue->covers(position) || std::find(active_.begin(), active_.end(), cue) != active_.end()) continue;
        active_.insert(
            std::upper_bound(active_.begin(), active_.end(), cue,
                             [](const auto& a, const auto& b) { return a->startTime() < b->startTime(); }),
            cue);
        return Step{cue, true};
    }
    return {};
}

double ScriptedTrack::nextChange() const {
    double next = std::numeric_limits<double>::infinity();
    if (mode_ == TextTrackMode::disabled) return next;
    if (next_ < cues_.size()) next = cues_[next_]->startTime();
    for (const auto& cue : active_) next = std::min(next, cue->endTime());
    return next;
}

void TrackList::add(const SimulatedTrack& script) {
    const auto track = ScriptedTrack::make(script, weak_from_this());
    tracks_.push_back(track);
    log_(TextTrackListEventTypes::ADD_TRACK.name, describe(*track));
    dispatchEvent(TextTrackListEventTypes::ADD_TRACK, {track});
}

void TrackList::removeAll() {
    ++movements_;
    for (const auto& track : std::exchange(tracks_, {})) {
        if (closed_) return;
        log_(TextTrackListEventTypes::REMOVE_TRACK.name, describe(*track));
        dispatchEvent(TextTrackListEventTypes::REMOVE_TRACK, {track});
    }
}

void TrackList::moveTo(double position) {
    const std::uint64_t movement = ++movements_;
    const auto tracks = tracks_;
    for (const auto& track : tracks) {
        while (const auto step = track->stepTowards(position)) {
            const auto text = step->cue->contentString().value_or("");
            if (step->enters) {
                log_(TextTrackEventTypes::ENTER_CUE.name, text);
                track->dispatchEvent(TextTrackEventTypes::ENTER_CUE, {step->cue});
            } else {
                log_(TextTrackEventTypes::EXIT_CUE.name, text);
                track->dispatchEvent(TextTrackEventTypes::EXIT_CUE, {step->cue});
            }
            if (closed_ || movement != movements_) return;
        }
    }
}

double TrackList::nextChange() const {
    double next = std::numeric_limits<double>::infinity();
    for (const auto& track : tracks_) next = std::min(next, track->nextChange());
    return next;
}

void TrackList::close() {
    closed_ = true;
    ++movements_;
    changed_ = nullptr;
}

void TrackList::change(const std::shared_ptr<ScriptedTrack>& track, TextTrackMode mode) {
    track->changeMode(mode);
    if (closed_) return;
    log_(TextTrackListEventTypes::CHANGE.name, describe(*track));
    dispatchEvent(TextTrackListEventTypes::CHANGE, {track});
}

void TrackList::setMode(const std::shared_ptr<ScriptedTrack>& track, TextTrackMode mode) {
    if (track->mode() == mode) return;
    const bool listed = std::find(tracks_.begin(), tracks_.end(), track) != tracks_.end();
    if (!listed) {
        track->changeMode(mode);
        return;
    }
    if (mode == TextTrackMode::showing) {
        // A listener that hears of the hiding may show yet another track; as often as there are tracks is enough.
        for (std::size_t round = 0; round < tracks_.size(); ++round) {
            const auto shown = std::find_if(tracks_.begin(), tracks_.end(), [](const auto& other) {
                return other->mode() == TextTrackMode::showing;
            });
            if (shown == tracks_.end() || *shown == track) break;
            change(std::shared_ptr(*shown), TextTrackMode::hidden);
        }
    }
    if (track->mode() != mode) change(track, mode);
    if (changed_) {
        const auto changed = changed_;
        changed();
    }
}

}  // namespace quorel::simulated
