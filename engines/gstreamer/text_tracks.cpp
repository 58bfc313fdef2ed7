#include "engines/gstreamer/text_tracks.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace quorel::gstreamer {
namespace {

// The clock is set four times a second while it runs; what is due later than this is seen to then.
constexpr double horizon = 1;  // seconds

// A correction of the clock is not a jump; more than this is.
constexpr double largestCorrection = 0.5;  // seconds

}  // namespace

std::string SubtitleTrack::kind() const {
    return rendition_.kind == SubtitleRendition::Kind::closedCaptions ? "captions" : "subtitles";
}

void SubtitleTrack::setMode(TextTrackMode mode) {
    if (const auto list = list_.lock()) {
        list->setMode(shared_from_this(), mode);
    } else {
        mode_ = mode;
    }
}

std::vector<std::shared_ptr<TextTrackCue>> SubtitleTrack::activeCues() const {
    return {timeline_.active().begin(), timeline_.active().end()};
}

bool SubtitleTrack::isWanted() const {
    if (rendition_.uri.empty() || mode_ == TextTrackMode::disabled) return false;
    return mode_ == TextTrackMode::showing || listenerCount() > 0;
}

void SubtitleTrack::load(const SubtitleLoader::Environment& environment, double position) {
    const auto list = list_.lock();
    if (!list) return;
    SubtitleLoader::Listener listener;
    listener.loaded = [this, weak = list_](std::uint64_t segment, std::vector<WebVTTCueBlock> cues) {
        timeline_.put(segment, std::move(cues), weak_from_this());
        if (const auto owner = weak.lock()) owner->wake();
    };
    listener.dropped = [this](std::uint64_t segment) { timeline_.drop(segment); };
    const bool urgent = mode_ == TextTrackMode::showing;
    loader_ = std::make_shared<SubtitleLoader>(environment, rendition_, urgent, std::move(listener));
    timeline_.stepTowards(position, CueTimeline::Motion::jump);
    loader_->start(position, std::exchange(playlist_, std::nullopt));
}

void SubtitleTrack::unload() {
    if (loader_) {
        loader_->stop();
        playlist_ = loader_->completePlaylist();
        loader_ = nullptr;
    }
    timeline_.clear();
}

SubtitleTracks::SubtitleTracks(RunLoop& loop, GStreamerOptions::MissingTimestampMap missingMap, Shown shown)
    : loop_(loop), missingMap_(missingMap), shown_(std::move(shown)) {}

bool SubtitleTracks::begin(SubtitleSource source) {
    const auto keep = shared_from_this();
    environment_.emplace(SubtitleLoader::Environment{.loop = loop_,
                                                     .fetch = std::move(source.fetch),
                                                     .anchor = std::move(source.anchor),
                                                     .lane = std::make_shared<LoadingLane>(),
                                                     .missingMap = missingMap_,
                                                     .joined = loop_.now()});
    const std::uint64_t began = ++source_;
    for (auto& rendition : source.renditions) {
        // Each variant may name a group of its own with the same languages.
        const bool isKnown = std::any_of(tracks_.begin(), tracks_.end(), [&](const auto& track) {
            const SubtitleRendition& other = track->rendition_;
            return other.kind == rendition.kind && other.name == rendition.name &&
                   other.language == rendition.language && other.groupId != rendition.groupId;
        });
        if (isKnown) continue;
        const auto track = std::make_shared<SubtitleTrack>(std::move(rendition), weak_from_this());
        tracks_.push_back(track);
        dispatchEvent(TextTrackListEventTypes::ADD_TRACK, {track});
        if (closed_ || began != source_) return false;
    }
    return true;
}

bool SubtitleTracks::removeAll() {
    const auto keep = shared_from_this();
    halt();
    const std::uint64_t began = ++source_;
    const auto tracks = std::exchange(tracks_, {});
    for (const auto& track : tracks) {
        dispatchEvent(TextTrackListEventTypes::REMOVE_TRACK, {track});
        if (closed_ || began != source_) return false;
    }
    return true;
}

void SubtitleTracks::halt() {
    ++movements_;
    environment_.reset();
    loop_.cancel(timer_);
    rate_ = reached_ = 0;
    jumps_ = true;
    for (const auto& track : tracks_) track->unload();
    tellShown();
}

void SubtitleTracks::close() {
    closed_ = true;
    shown_ = nullptr;
    ++source_;
    halt();
}

double SubtitleTracks::clock() const {
    return position_ + rate_ * std::min(secondsFromDuration(loop_.now() - setAt_), horizon);
}

void SubtitleTracks::setClock(double position, double rate) {
    if (std::abs(position - clock()) > largestCorrection) jumps_ = true;
    position_ = position;
    rate_ = rate;
    setAt_ = loop_.now();
    loadWhatIsWanted();
    wake();
}

void SubtitleTracks::jumpTo(double position) {
    jumps_ = true;
    setClock(position, rate_);
}

bool SubtitleTracks::isListed(const SubtitleTrack& track) const {
    return std::any_of(tracks_.begin(), tracks_.end(), [&](const auto& other) { return other.get() == &track; });
}

void SubtitleTracks::loadWhatIsWanted() {
    if (!environment_) return;
    const double position = clock();
    for (const auto& track : tracks_) {
        if (track->loader_) {
            track->loader_->moveTo(position);
        } else if (track->isWanted()) {
            track->load(*environment_, position);
        }
    }
}

// Sets the alarm for the next cue that enters or leaves.
void SubtitleTracks::wake() {
    loop_.cancel(timer_);
    if (!environment_) return;
    double next = std::numeric_limits<double>::infinity();
    for (const auto& track : tracks_) next = std::min(next, track->timeline_.nextChange());
    double delay = 0;
    if (!jumps_) {
        const double distance = next - clock();
        if (distance > 0 && rate_ <= 0) return;
        // Behind the moment rather than before it: what is rounded away would ring the alarm again and again.
        delay = distance <= 0 ? 0 : distance / rate_ + 1e-6;
        if (!(delay <= horizon)) return;
    }
    timer_ = loop_.schedule(durationFromSeconds(delay), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->catchUp();
    });
}

void SubtitleTracks::catchUp() {
    const std::uint64_t movement = ++movements_;
    const auto motion = std::exchange(jumps_, false) ? CueTimeline::Motion::jump : CueTimeline::Motion::playing;
    // A clock that is put back by a few milliseconds is not a seek back: no cue enters twice for it.
    reached_ = motion == CueTimeline::Motion::jump ? clock() : std::max(clock(), reached_);
    const double position = reached_;
    const auto tracks = tracks_;
    for (const auto& track : tracks) {
        while (const auto step = track->timeline_.stepTowards(position, motion)) {
            tellShown();
            if (step->enters) {
                track->dispatchEvent(TextTrackEventTypes::ENTER_CUE, {step->cue});
            } else {
                track->dispatchEvent(TextTrackEventTypes::EXIT_CUE, {step->cue});
            }
            if (closed_ || movement != movements_) return;
        }
    }
    wake();
}

void SubtitleTracks::tellShown() {
    SubtitleCues cues;
    for (const auto& track : tracks_) {
        if (track->mode_ == TextTrackMode::showing) cues = track->timeline_.active();
    }
    if (cues == shownCues_) return;
    shownCues_ = cues;
    if (shown_) shown_(shownCues_);
}

void SubtitleTracks::change(const std::shared_ptr<SubtitleTrack>& track, TextTrackMode mode) {
    track->mode_ = mode;
    if (mode == TextTrackMode::disabled) track->unload();
    if (closed_) return;
    tellShown();
    dispatchEvent(TextTrackListEventTypes::CHANGE, {track});
}

void SubtitleTracks::setMode(const std::shared_ptr<SubtitleTrack>& track, TextTrackMode mode) {
    if (track->mode_ == mode) return;
    if (!isListed(*track)) {
        track->mode_ = mode;
        return;
    }
    if (mode == TextTrackMode::showing) {
        // A listener that hears of the hiding may show yet another track; as often as there are tracks is enough.
        for (std::size_t round = 0; round < tracks_.size(); ++round) {
            const auto shown = std::find_if(tracks_.begin(), tracks_.end(), [](const auto& other) {
                return other->mode_ == TextTrackMode::showing;
            });
            if (shown == tracks_.end() || *shown == track) break;
            change(std::shared_ptr(*shown), TextTrackMode::hidden);
        }
    }
    if (track->mode_ != mode) change(track, mode);
    if (closed_) return;
    loadWhatIsWanted();
    wake();
}

}  // namespace quorel::gstreamer
