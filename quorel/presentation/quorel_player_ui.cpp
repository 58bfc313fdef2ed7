#include "quorel/presentation/quorel_player_ui.h"

#include <utility>

namespace quorel {

std::shared_ptr<QuorelPlayerUI> QuorelPlayerUI::make(const std::shared_ptr<ui::View>& container,
                                                     const std::shared_ptr<THEOplayer>& player,
                                                     std::vector<PlayerComponent> components,
                                                     std::function<void()> onFullScreen) {
    const std::shared_ptr<QuorelPlayerUI> overlay(
        new QuorelPlayerUI(player, std::move(components), std::move(onFullScreen)));
    container->addSubview(overlay);
    overlay->pinToSuperviewEdges();
    return overlay;
}

QuorelPlayerUI::QuorelPlayerUI(const std::shared_ptr<THEOplayer>& player, std::vector<PlayerComponent> components,
                               std::function<void()> onFullScreen)
    : player_(player), components_(std::move(components)), onFullScreen_(std::move(onFullScreen)) {
    setAccessibilityName("Player controls");
}

void QuorelPlayerUI::moveButtonsToNavigationBar(ui::NavigationItem& item) {
    item.rightBarItems = topRightButtons_;
}

}  // namespace quorel
