// What the backend says of a live title, and what the view shows because of it.
//
// The state is looked at when a source is loaded, and at no other time. Polling deliberately goes on beside it without
// moving anything: what a poll brings is read by the countdown alone, so screens and state stay as they are until the
// next setup(). An application that wants to follow a title makes a new player when it hears of a change.
#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url.h"
#include "quorel/player/cdn_switch.h"
#include "quorel/player/controller.h"
#include "quorel/player/countdown.h"
#include "quorel/session/platform_services.h"

namespace quorel {

using Controller = QuorelPlayerViewController;

namespace {

constexpr double pollInterval = 10.0;      // seconds
constexpr double countdownInterval = 1.0;  // seconds

}  // namespace

bool Controller::evaluateLiveState() {
    if (!isLive_ || !liveStatus_) return false;
    const PlayerStatus status = *liveStatus_;
    if (status.isPaused) {
        showStatusScreen(status.assets.pauseScreen);
        setContentState(ContentState::paused);
        view()->bringSubviewToFront(liveView());
        return true;
    }
    if (status.isShutdown) {
        showStatusScreen(status.assets.endingScreen);
        setContentState(ContentState::shutdown);
        return true;
    }
    if (!status.isLive) {
        showStatusScreen(status.assets.startSoonScreen);
        startCountdown();
        setContentState(ContentState::startSoon);
        return true;
    }
    contentState_ = ContentState::live;
    view()->sendSubviewToBack(statusImage());
    view()->bringSubviewToFront(liveView());
    if (contentId_ && player_) analyticsController_->start(*contentId_, player_);
    checkCDN(status.cdn);
    return false;
}

void Controller::showStatusScreen(const std::string& image) {
    const auto url = URL::parse(image);
    if (!url) return;
    statusImage()->load(*session_.services().urlSession, *url);
    view()->bringSubviewToFront(statusImage());
}

void Controller::setContentState(ContentState state) {
    if (contentState_ == state) return;
    contentState_ = state;
    if (contentId_) startTask(*session_.services().mainLoop, refreshConfig(self(), *contentId_));
}

Task<void> Controller::refreshConfig(std::shared_ptr<Controller> controller, std::string id) {
    try {
        controller->config_ = co_await controller->api_.fetchPlayerConfig(std::move(id));
    } catch (...) {
        // Silent: the configuration that was there will do.
    }
}

// Deliberate: the stamp stays the first one that was seen, so that only the comparison of the hosts keeps a switch
// from repeating itself, and a later content of this controller is measured by the stamp of an earlier one. The load
// that asks for this check goes on afterwards with the configuration that it began with, and sets the old address
// again; the new one lives on in the stored configuration.
void Controller::checkCDN(const CDN& cdn) {
    if (lastCDNUpdate_ == 0) {
        lastCDNUpdate_ = cdn.lastUpdate;
        return;
    }
    if (lastCDNUpdate_ == cdn.lastUpdate || !config_) return;
    auto hls = hlsOnCDN(config_->assets.hls, cdn.cdn);
    if (!hls) return;
    config_->assets.hls = std::move(*hls);
    loadSource(*config_);
    if (!prerollAdVC_ && player_) player_->play();
}

void Controller::startStatusTimer() {
    if (timerStatus_.lock()) return;
    timerStatus_ = Timer::scheduled(*session_.services().mainLoop, pollInterval, Timer::Repeats::yes,
                                    [weak = std::weak_ptr(self())](Timer&) {
                                        const auto alive = weak.lock();
                                        if (alive && alive->session_.hasServices()) {
                                            startTask(*alive->session_.services().mainLoop, pollTick(weak));
                                        }
                                    });
}

Task<void> Controller::pollTick(std::weak_ptr<Controller> controller) {
    if (const auto alive = controller.lock()) alive->updateLivePlayerStatus();
    co_return;
}

void Controller::updateLivePlayerStatus() {
    if (contentId_ && session_.hasServices()) {
        startTask(*session_.services().mainLoop, fetchStatus(self(), *contentId_));
    }
}

// Replies are not put in order: the last one to arrive is the one that counts.
Task<void> Controller::fetchStatus(std::shared_ptr<Controller> controller, std::string id) {
    try {
        controller->liveStatus_ = co_await controller->api_.fetchLiveStatus(std::move(id));
    } catch (...) {
        logLine("QuorelSDK: error updating player status");
    }
}

// Deliberate: a countdown keeps its controller, for as long as it counts.
void Controller::startCountdown() {
    if (const auto running = countdownTimer_.lock()) running->invalidate();
    countdownTimer_ = Timer::scheduled(*session_.services().mainLoop, countdownInterval, Timer::Repeats::yes,
                                       [controller = self()](Timer&) { controller->updateCountdownTimer(); });
}

// Deliberate: it counts the time since the event's date. Before that date there is nothing to show, and the first tick
// ends the countdown.
void Controller::updateCountdownTimer() {
    if (!liveStatus_ || !session_.hasServices()) return;
    const double value = session_.services().mainLoop->secondsSince1970() - liveStatus_->eventDate;
    if (value > 0) {
        timerView()->setText(countdownText(value));
        return;
    }
    timerView()->setText("");
    if (const auto running = countdownTimer_.lock()) running->invalidate();
}

void Controller::startAnalytics() {
    if (contentId_ && player_) analyticsController_->start(*contentId_, player_);
}

void Controller::stopAnalytics() {
    analyticsController_->stop();
}

}  // namespace quorel
