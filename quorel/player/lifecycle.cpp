// How the player lives in a host's view tree, and how it ends.
#include "quorel/foundation/log.h"
#include "quorel/player/controller.h"

namespace quorel {

void QuorelPlayerViewController::viewDidLoad() {
    viewHolder_->setBackgroundColor(ui::Color::black());
    view()->addSubview(viewHolder_);
    viewHolder_->pinToSuperviewEdges();
}

void QuorelPlayerViewController::viewDidLayoutSubviews() {
    if (player_) player_->setFrame(viewHolder_->bounds());
    layoutStatusViews();
}

void QuorelPlayerViewController::unmount() {
    if (const auto player = player_) player->pause();
    player_ = nullptr;
}

QuorelPlayerViewController::~QuorelPlayerViewController() {
    if (healthMonitor_) healthMonitor_->stop();
    if (player_) player_->pause();
    player_ = nullptr;
    if (const auto timer = timerStatus_.lock()) timer->invalidate();
    if (const auto timer = countdownTimer_.lock()) timer->invalidate();
    logLine("QuorelPlayer deinit");
}

}  // namespace quorel
