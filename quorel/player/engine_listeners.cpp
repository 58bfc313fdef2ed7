// What the engine reports, and what the host hears of it.
//
// Every function here holds the public listener strongly, and the controller and the engine weakly. Those that
// need the listener alone go on for as long as the engine lives, whatever becomes of the controller.
#include <string_view>
#include <utility>

#include "quorel/player/controller.h"

namespace quorel {

using Event = QuorelPlayerEvent;

void QuorelPlayerViewController::registerEngineListeners(const std::shared_ptr<QuorelPlayerListener>& listener,
                                                         const std::shared_ptr<THEOplayer>& player) {
    removeEngineListeners(*player);
    listener_ = listener;

    const std::weak_ptr<QuorelPlayerViewController> weakSelf = self();
    const std::weak_ptr<THEOplayer> weakEngine = player;
    const auto on = [this](std::string_view key, EventDispatcher& emitter, const auto& type, auto function) {
        internalListeners_.insert_or_assign(std::string(key), emitter.addEventListener(type, std::move(function)));
    };
    // For what is not told during an ad break.
    const auto outsideAdBreak = [weakSelf] {
        const auto alive = weakSelf.lock();
        return alive && !alive->isInAdBreak_ ? alive : nullptr;
    };

    on("metadataLoaded", *player, PlayerEventTypes::LOADED_META_DATA,
       [listener, outsideAdBreak, weakEngine](const LoadedMetaDataEvent&) {
           const auto controller = outsideAdBreak();
           const auto engine = weakEngine.lock();
           if (!controller || !engine) return;
           listener->onEvent(Event::metadataLoaded{{controller->isLive_, engine->duration().value_or(0)}});
           engine->setCurrentTime(controller->startTime_);
       });
    on("play", *player, PlayerEventTypes::PLAY,
       [listener](const PlayEvent&) { listener->onEvent(Event::play{}); });
    on("playing", *player, PlayerEventTypes::PLAYING, [listener, weakSelf, weakEngine](const PlayingEvent&) {
        listener->onEvent(Event::playing{});
        const auto controller = weakSelf.lock();
        const auto engine = weakEngine.lock();
        // The preroll holds the content back.
        if (controller && controller->prerollAdVC_ && engine) engine->pause();
    });
    on("pause", *player, PlayerEventTypes::PAUSE,
       [listener](const PauseEvent&) { listener->onEvent(Event::pause{}); });
    on("waiting", *player, PlayerEventTypes::WAITING,
       [listener](const WaitingEvent&) { listener->onEvent(Event::waiting{}); });
    on("ended", *player, PlayerEventTypes::ENDED,
       [listener](const EndedEvent&) { listener->onEvent(Event::ended{}); });
    on("durationUpdate", *player, PlayerEventTypes::DURATION_CHANGE,
       [listener, outsideAdBreak](const DurationChangeEvent& event) {
           if (outsideAdBreak()) listener->onEvent(Event::durationUpdate{event.duration.value_or(0)});
       });
    on("error", *player, PlayerEventTypes::ERROR, [listener](const ErrorEvent& event) {
        listener->onEvent(Event::error{event.error, true});
    });
    on("timeUpdate", *player, PlayerEventTypes::TIME_UPDATE,
       [listener, outsideAdBreak](const TimeUpdateEvent& event) {
           const auto controller = outsideAdBreak();
           if (!controller) return;
           controller->currentTime_ = event.currentTime;
           listener->onEvent(Event::timeUpdate{event.currentTime});
       });
    // Follows what is heard, and not the engine's muted flag.
    on("volumeChanged", *player, PlayerEventTypes::VOLUME_CHANGE, [listener](const VolumeChangeEvent& event) {
        if (event.volume > 0) {
            listener->onEvent(Event::unmuted{});
        } else {
            listener->onEvent(Event::muted{});
        }
    });
    on("canPlay", *player, PlayerEventTypes::CAN_PLAY, [weakSelf, weakEngine](const CanPlayEvent&) {
        const auto controller = weakSelf.lock();
        const auto engine = weakEngine.lock();
        if (!controller || !engine || controller->hasSetStartTime_) return;
        engine->setCurrentTime(controller->startTime_);
        controller->hasSetStartTime_ = true;
    });
    on("subtitleAdded", player->textTracks(), TextTrackListEventTypes::ADD_TRACK,
       [listener, weakSelf](const AddTrackEvent& event) {
           if (const auto controller = weakSelf.lock()) controller->subtitleAdded(event.track, *listener);
       });
    on("subtitleChanged", player->textTracks(), TextTrackListEventTypes::CHANGE,
       [listener, weakSelf](const TrackChangeEvent& event) {
           if (const auto controller = weakSelf.lock()) controller->subtitleChanged(event.track, *listener);
       });
    on("playbackRateChanged", *player, PlayerEventTypes::RATE_CHANGE,
       [listener, weakSelf](const RateChangeEvent&) {
           const auto controller = weakSelf.lock();
           if (!controller || !controller->player_) return;
           listener->onEvent(Event::playbackRateChanged{controller->player_->playbackRate()});
       });
    on("adbegin", player->ads(), AdsEventTypes::AD_BEGIN,
       [listener](const AdBeginEvent&) { listener->onEvent(Event::adBegin{}); });
    on("adend", player->ads(), AdsEventTypes::AD_END,
       [listener](const AdEndEvent&) { listener->onEvent(Event::adEnd{}); });
    on("adbreakstart", player->ads(), AdsEventTypes::AD_BREAK_BEGIN,
       [listener, weakSelf](const AdBreakBeginEvent&) {
           const auto controller = weakSelf.lock();
           if (!controller) return;
           controller->isInAdBreak_ = true;
           if (controller->playerUI_) controller->playerUI_->setHidden(true);
           listener->onEvent(Event::adBreakBegin{});
       });
    // The key is spelt so on purpose; it is compared with itself only.
    on("adbreadend", player->ads(), AdsEventTypes::AD_BREAK_END, [listener, weakSelf](const AdBreakEndEvent&) {
        const auto controller = weakSelf.lock();
        if (!controller) return;
        controller->isInAdBreak_ = false;
        // Deliberately also where the host asked for a hidden overlay.
        if (controller->playerUI_) controller->playerUI_->setHidden(false);
        listener->onEvent(Event::adBreakEnd{});
    });
}

void QuorelPlayerViewController::removeEngineListeners(THEOplayer& player) {
    if (listener_.expired()) return;
    const auto off = [this](std::string_view key, EventDispatcher& emitter, const auto& type) {
        const auto found = internalListeners_.find(key);
        if (found != internalListeners_.end()) emitter.removeEventListener(type, found->second);
    };
    off("metadataLoaded", player, PlayerEventTypes::LOADED_META_DATA);
    off("play", player, PlayerEventTypes::PLAY);
    off("playing", player, PlayerEventTypes::PLAYING);
    off("pause", player, PlayerEventTypes::PAUSE);
    off("waiting", player, PlayerEventTypes::WAITING);
    off("ended", player, PlayerEventTypes::ENDED);
    off("durationUpdate", player, PlayerEventTypes::DURATION_CHANGE);
    off("error", player, PlayerEventTypes::ERROR);
    off("timeUpdate", player, PlayerEventTypes::TIME_UPDATE);
    off("volumeChanged", player, PlayerEventTypes::VOLUME_CHANGE);
    off("canPlay", player, PlayerEventTypes::CAN_PLAY);
    off("subtitleAdded", player.textTracks(), TextTrackListEventTypes::ADD_TRACK);
    off("subtitleChanged", player.textTracks(), TextTrackListEventTypes::CHANGE);
    off("playbackRateChanged", player, PlayerEventTypes::RATE_CHANGE);
    // Added on the ads object, deliberately removed through the player.
    off("adbegin", player, AdsEventTypes::AD_BEGIN);
    off("adend", player, AdsEventTypes::AD_END);
    off("adbreakstart", player, AdsEventTypes::AD_BREAK_BEGIN);
    off("adbreadend", player, AdsEventTypes::AD_BREAK_END);
}

}  // namespace quorel
