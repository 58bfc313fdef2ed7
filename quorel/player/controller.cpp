#include "quorel/player/controller.h"

#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/session/platform_services.h"

namespace quorel {

std::shared_ptr<QuorelPlayerViewController> QuorelPlayerViewController::make() {
    return make(Quorel::shared(), QuorelAPI::shared());
}

std::shared_ptr<QuorelPlayerViewController> QuorelPlayerViewController::make(Quorel& session, QuorelAPI& api) {
    return std::shared_ptr<QuorelPlayerViewController>(new QuorelPlayerViewController(session, api));
}

QuorelPlayerViewController::QuorelPlayerViewController(Quorel& session, QuorelAPI& api)
    : session_(session), api_(api), analyticsController_(AnalyticsController::make(session)) {}

std::shared_ptr<QuorelPlayerViewController> QuorelPlayerViewController::self() {
    return std::static_pointer_cast<QuorelPlayerViewController>(shared_from_this());
}

void QuorelPlayerViewController::sendToListener(const QuorelPlayerEvent& event) const {
    if (const auto listener = listener_.lock()) listener->onEvent(event);
}

void QuorelPlayerViewController::setup(const std::string& with, bool hideUI, double startTime,
                                       const std::optional<std::string>& subtitle,
                                       std::map<std::string, std::string> customImaParams) {
    loadViewIfNeeded();
    if (config_ && contentId_ == with) return;
    contentId_ = with;
    hideUI_ = hideUI;
    startTime_ = startTime;
    hasSetStartTime_ = false;
    currentSubtitle_ = subtitle ? std::optional(asciiLowercased(*subtitle)) : std::nullopt;
    liveView()->setHidden(true);
    customImaParams_ = std::move(customImaParams);
    if (const auto old = player_) {
        old->pause();
        removeEngineListeners(*old);
        player_ = nullptr;
    }
    // The configuration stays: until the new one is there, a second call with the new id is taken for a
    // repetition.
    videoDetail_.reset();
    liveDetails_.reset();
    liveStatus_.reset();
    startTask(*session_.services().mainLoop, load(self(), with));
}

void QuorelPlayerViewController::registerPlayerListener(const std::shared_ptr<QuorelPlayerListener>& listener) {
    if (!player_) listener_ = listener;
}

void QuorelPlayerViewController::play() {
    if (player_) player_->play();
}

void QuorelPlayerViewController::pause() {
    if (player_) player_->pause();
}

void QuorelPlayerViewController::seekTo(double time) {
    if (player_) player_->setCurrentTime(time);
}

void QuorelPlayerViewController::setPlaybackRate(double rate) {
    if (player_) player_->setPlaybackRate(rate);
}

void QuorelPlayerViewController::mute() {
    muted_ = true;
    if (player_) player_->setMuted(true);
}

void QuorelPlayerViewController::unmute() {
    muted_ = false;
    if (player_) player_->setMuted(false);
}

void QuorelPlayerViewController::getCurrentTime(const std::function<void(double)>& callback) const {
    if (callback) callback(player_ ? player_->currentTime() : 0);
}

}  // namespace quorel
