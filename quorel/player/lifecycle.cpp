// How the player lives in a host's view tree, goes to full screen and back, and ends.
#include <utility>

#include "quorel/foundation/log.h"
#include "quorel/foundation/notification.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/player/ad_player_view_controller.h"
#include "quorel/player/controller.h"
#include "quorel/presentation/full_screen_controller.h"
#include "quorel/session/platform_services.h"
#include "quorel/ui/geometry.h"

namespace quorel {

void QuorelPlayerViewController::viewDidLoad() {
    viewHolder_->setBackgroundColor(ui::Color::black());
    view()->addSubview(viewHolder_);
    viewHolder_->pinToSuperviewEdges();

    const auto center = session_.services().notificationCenter;
    if (!center) return;
    notificationCenter_ = center;
    applicationStateObserver_ = center->addObserver(ApplicationDidBecomeActive, [weak = std::weak_ptr(self())] {
        const auto alive = weak.lock();
        if (!alive) return;
        alive->session_.services().mainLoop->post([weak] {
            if (const auto controller = weak.lock()) controller->applicationDidBecomeActive();
        });
    });
}

void QuorelPlayerViewController::viewDidLayoutSubviews() {
    if (player_) player_->setFrame(viewHolder_->bounds());
    if (prerollAdVC_) prerollAdVC_->layoutIn(viewHolder_->bounds());
    layoutStatusViews();
}

// Ads were interrupted when the application left the foreground. Content was too, and waits for the viewer.
void QuorelPlayerViewController::applicationDidBecomeActive() {
    const auto player = player_;
    if (!player || !isInAdBreak_) return;
    if (const auto preroll = prerollAdVC_) {
        preroll->resumeAds();
    } else {
        player->play();
    }
}

void QuorelPlayerViewController::stopObservingApplicationState() {
    const auto observer = std::exchange(applicationStateObserver_, std::nullopt);
    const auto center = notificationCenter_.lock();
    if (observer && center) center->removeObserver(*observer);
}

void QuorelPlayerViewController::toggleFullScreen() {
    if (!isFullScreen_) {
        if (!player_ || !playerUI_) return;
        const auto screen = std::make_shared<FullScreenQuorelController>();
        screen->setPlayer(player_);
        screen->setUI(playerUI_);
        screen->setModalTransitionStyle(ui::ModalTransitionStyle::crossDissolve);
        screen->setModalPresentationStyle(ui::ModalPresentationStyle::fullScreen);
        present(screen, /*animated=*/true);
        isFullScreen_ = true;
    } else {
        dismissPresented(/*animated=*/true);
        if (player_) player_->addAsSubview(viewHolder_);
        if (playerUI_) playerUI_->attach(viewHolder_);
        isFullScreen_ = false;
    }
    if (playerUI_) {
        playerUI_->setFullScreen(isFullScreen_);
        playerUI_->refreshFullScreenIcon();
    }
    if (isFullScreen_) {
        sendToListener(QuorelPlayerEvent::enterFullScreen{});
    } else {
        sendToListener(QuorelPlayerEvent::exitFullScreen{});
    }
}

// Timers, engine listeners and analytics deliberately go on; they end with the controller.
void QuorelPlayerViewController::unmount() {
    if (const auto player = player_) player->pause();
    player_ = nullptr;
    abandonPreroll();
    stopObservingApplicationState();
}

QuorelPlayerViewController::~QuorelPlayerViewController() {
    if (healthMonitor_) healthMonitor_->stop();
    if (player_) player_->pause();
    player_ = nullptr;
    if (const auto timer = timerStatus_.lock()) timer->invalidate();
    if (const auto timer = countdownTimer_.lock()) timer->invalidate();
    prerollAdVC_ = nullptr;
    stopObservingApplicationState();
    logLine("QuorelPlayer deinit");
}

}  // namespace quorel
