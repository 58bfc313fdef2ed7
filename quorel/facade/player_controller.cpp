#include "quorel/facade/player_controller.h"

namespace quorel {

PlayerController::PlayerController() {
    const auto follow = [this](auto&... properties) {
        (properties.setWillChange([this] { objectWillChange_.send(); }), ...);
    };
    follow(metadata, isPlaying, currentTime, duration, isBuffering, isMuted, subtitle, availableSubtitles,
           playbackRate);
}

// Read anew for each command, so that none reaches an engine that was replaced.
std::shared_ptr<THEOplayer> PlayerController::player() const {
    const auto controller = vc.lock();
    return controller ? controller->player() : nullptr;
}

void PlayerController::togglePlayPause() {
    if (isPlaying.get()) {
        pause();
    } else {
        play();
    }
}

void PlayerController::play() {
    if (const auto engine = player()) engine->play();
}

void PlayerController::pause() {
    if (const auto engine = player()) engine->pause();
}

void PlayerController::seekTo(double time) {
    if (const auto engine = player()) engine->setCurrentTime(time);
}

void PlayerController::mute() {
    if (const auto controller = vc.lock()) controller->mute();
}

void PlayerController::unmute() {
    if (const auto controller = vc.lock()) controller->unmute();
}

void PlayerController::selectSubtitle(const std::optional<std::string>& language) {
    if (const auto controller = vc.lock()) controller->selectSubtitle(language);
}

void PlayerController::selectPlaybackRate(double rate) {
    if (const auto engine = player()) engine->setPlaybackRate(rate);
}

}  // namespace quorel
