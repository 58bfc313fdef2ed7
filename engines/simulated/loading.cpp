#include <algorithm>
#include <chrono>
#include <cmath>
#include <variant>

#include "engines/simulated/engine_core.h"
#include "engines/simulated/manifest_request.h"
#include "engines/simulated/script.h"
#include "engines/simulated/test_picture.h"
#include "quorel/engine/events.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/url.h"

namespace quorel::simulated {
namespace {

double orZero(double number) {
    return number > 0 ? number : 0;
}

std::string kindName(std::optional<TextTrackKind> kind) {
    switch (kind.value_or(TextTrackKind::subtitles)) {
        case TextTrackKind::subtitles:
            return "subtitles";
        case TextTrackKind::captions:
            return "captions";
        case TextTrackKind::descriptions:
            return "descriptions";
        case TextTrackKind::chapters:
            return "chapters";
        case TextTrackKind::metadata:
            return "metadata";
    }
    return {};
}

SimulatedScript tidied(SimulatedScript script, const SourceDescription& source) {
    if (script.tracks.empty() && source.textTracks) {
        for (const auto& description : *source.textTracks) {
            if (!description) continue;
            script.tracks.push_back({.kind = kindName(description->kind),
                                     .label = description->label.value_or(""),
                                     .language = description->srclang,
                                     .addAfter = 0,
                                     .cues = {}});
        }
    }
    if (script.duration) script.duration = orZero(*script.duration);
    script.liveEdge = std::isfinite(script.liveEdge) ? orZero(script.liveEdge) : 0;
    script.timeUpdateInterval = std::max(orZero(script.timeUpdateInterval), 0.001);
    script.seekTakes = orZero(script.seekTakes);
    for (auto& track : script.tracks) track.addAfter = orZero(track.addAfter);
    for (auto& stall : script.stalls) stall.at = orZero(stall.at);
    for (auto& planned : script.adBreaks) planned.offset = orZero(planned.offset);
    if (script.error && script.error->at) script.error->at = orZero(*script.error->at);
    std::stable_sort(script.tracks.begin(), script.tracks.end(),
                     [](const auto& a, const auto& b) { return a.addAfter < b.addAfter; });
    std::stable_sort(script.stalls.begin(), script.stalls.end(),
                     [](const auto& a, const auto& b) { return a.at < b.at; });
    std::stable_sort(script.adBreaks.begin(), script.adBreaks.end(),
                     [](const auto& a, const auto& b) { return a.offset < b.offset; });
    return script;
}

}  // namespace

// Whatever was about to happen for the source does not happen any more.
void EngineCore::standStill() {
    ++load_;
    ++course_;
    hold();
    for (OneShot* timer : {&loadTimer_, &trackTimer_, &stallTimer_, &seekTimer_, &adTimer_}) timer->cancel();
    stalled_ = false;
    seekTarget_.reset();
    playingTold_ = false;
    waitingTold_ = false;
}

void EngineCore::setSource(std::optional<SourceDescription> source) {
    if (closed_) return;
    const auto self = shared_from_this();
    standStill();
    const std::uint64_t load = load_;
    const bool wasAnnounced = std::exchange(announced_, false);
    const auto running = std::exchange(break_, std::nullopt);
    callLater(std::exchange(seekHandlers_, {}));
    stage_ = source ? Stage::loading : Stage::empty;
    source_ = std::move(source);
    script_ = {};
    breaks_.clear();
    manifest_.clear();
    duration_.reset();
    wanted_ = false;
    clock_.setPosition(0);
    frames_->clear();

    tellEndOfBreak(running);
    if (wasAnnounced) tell(PlayerEventTypes::PAUSE);
    tracks_->removeAll();
    setReady(ReadyState::haveNothing);
    if (load != load_ || !source_) return;
    // A listener of these farewells may have asked to play already.
    wanted_ = wanted_ || autoplay_;
    beginLoading();
}

void EngineCore::stop(std::function<void()> completionHandler) {
    if (closed_) return;
    const auto self = shared_from_this();
    setSource({});
    callLater({std::move(completionHandler)});
}

void EngineCore::beginLoading() {
    script_ = tidied(scriptFor_(*source_), *source_);
    for (const auto& planned : script_.adBreaks) breaks_.push_back({planned});
    nextStall_ = 0;
    tracksAdded_ = 0;
    if (source_->sources().empty()) {
        loadTimer_.start(0.0, [this] { fail("The source has no address to load from."); });
    } else if (settings_.manifestInterceptor() && !source_->source.ssai) {
        loadTimer_.start(0.0, [this] { askInterceptor(); });
    } else {
        scheduleMetadata();
    }
}

void EngineCore::askInterceptor() {
    const auto self = shared_from_this();
    const auto interceptor = settings_.manifestInterceptor();
    if (!interceptor) {
        scheduleMetadata();
        return;
    }
    const std::string& address = source_->source.src;
    const auto separator = address.find("://");
    std::optional<URL> url;
    if (separator != std::string::npos)
        url = URL::parse(interceptor->customScheme() + address.substr(separator + 3));
    if (!url) {
        fail("The source's address \"" + address + "\" is not one that a manifest interceptor can be asked for.");
        return;
    }
    const auto request = std::make_shared<ManifestRequest>(
        *url, loop_, [weak = weak_from_this(), load = load_, text = url->absoluteString()](ManifestAnswer answer) {
            const auto core = weak.lock();
            if (!core || core->load_ != load) return;
            if (answer.problem) {
                core->fail("The manifest interceptor was asked for " + text + " and " + *answer.problem);
                return;
            }
            core->manifest_ = std::move(answer.data);
            core->scheduleMetadata();
        });
    if (!interceptor->shouldWaitForLoadingOfRequestedResource(request)) request->finishWithProblem("refused it.");
}

void EngineCore::scheduleMetadata() {
    if (script_.neverLoads) return;
    if (script_.error && !script_.error->at) {
        loadTimer_.start(script_.metadataAfter, [this] { fail(script_.error->text); });
    } else {
        loadTimer_.start(script_.metadataAfter, [this] { becomeMetadata(); });
    }
}

void EngineCore::becomeMetadata() {
    const auto self = shared_from_this();
    const std::uint64_t load = load_;
    stage_ = Stage::metadata;
    duration_ = script_.duration;
    metadataAt_ = loop_->now();
    if (seekTarget_) seekTarget_ = clamped(*seekTarget_);
    if (duration_ && std::isinf(*duration_)) clock_.setPosition(liveEdge());
    loadTimer_.start(script_.canPlayAfter, [this] { becomePlayable(); });

    setReady(ReadyState::haveMetadata);
    if (load != load_) return;
    tell(PlayerEventTypes::DURATION_CHANGE, {duration_}, duration_ ? shortestText(*duration_) : "");
    if (load != load_) return;
    addTracksThatAreDue();
    if (load != load_) return;
    tell(PlayerEventTypes::LOADED_META_DATA);
}

void EngineCore::addTracksThatAreDue() {
    const auto self = shared_from_this();
    const std::uint64_t load = load_;
    while (tracksAdded_ < script_.tracks.size()) {
        const SimulatedTrack& track = script_.tracks[tracksAdded_];
        const Duration due = metadataAt_ + durationFromSeconds(track.addAfter);
        if (due > loop_->now()) {
            trackTimer_.start(due - loop_->now(), [this] { addTracksThatAreDue(); });
            return;
        }
        ++tracksAdded_;
        tracks_->add(SimulatedTrack(track));
        if (load != load_) return;
    }
}

void EngineCore::becomePlayable() {
    const auto self = shared_from_this();
    const std::uint64_t load = load_;
    stage_ = Stage::playable;
    if (seekTarget_) {
        finishSeek();
    } else {
        frames_->show(position(), simulatedContentColor);
        tracks_->moveTo(position());
        if (load != load_) return;
        becomeReady();
    }
    if (load == load_ && wanted_ && !announced_) announce();
}

// False when a listener turned it to something else.
bool EngineCore::becomeReady() {
    const std::uint64_t load = load_;
    const auto stillReady = [&] { return load == load_ && ready_ == ReadyState::haveEnoughData; };
    setReady(ReadyState::haveEnoughData);
    if (!stillReady()) return false;
    tell(PlayerEventTypes::CAN_PLAY);
    if (!stillReady()) return false;
    waitingTold_ = false;
    tell(PlayerEventTypes::CAN_PLAY_THROUGH);
    return stillReady();
}

void EngineCore::fail(std::string text) {
    const auto self = shared_from_this();
    standStill();
    const std::uint64_t load = load_;
    const bool wasAnnounced = std::exchange(announced_, false);
    const auto running = std::exchange(break_, std::nullopt);
    callLater(std::exchange(seekHandlers_, {}));
    stage_ = Stage::broken;
    wanted_ = false;
    frames_->clear();

    tellEndOfBreak(running);
    if (load == load_ && wasAnnounced) tell(PlayerEventTypes::PAUSE);
    if (load == load_) setReady(ReadyState::haveNothing);
    if (load == load_) tell(PlayerEventTypes::ERROR, {text}, text);
}

void EngineCore::simulateError(std::string text) {
    if (stage_ != Stage::empty && stage_ != Stage::broken) fail(std::move(text));
}

}  // namespace quorel::simulated
