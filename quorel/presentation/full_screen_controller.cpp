#include "quorel/presentation/full_screen_controller.h"

#include "quorel/foundation/fatal.h"
#include "quorel/ui/geometry.h"

namespace quorel {

void FullScreenQuorelController::viewDidLoad() {
    if (!player_ || !ui_) fatal("a full screen needs an engine and an overlay");
    view()->setBackgroundColor(ui::Color::black());
    view()->addSubview(viewHolder_);
    viewHolder_->pinToSuperviewEdges();
    player_->addAsSubview(view());
    ui_->attach(viewHolder_);
}

void FullScreenQuorelController::viewDidLayoutSubviews() {
    if (player_) player_->setFrame(view()->bounds());
}

}  // namespace quorel
