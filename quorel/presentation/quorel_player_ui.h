// The overlay over the engine's picture: the root of the player's own controls.
//
//   auto overlay = QuorelPlayerUI::make(viewHolder, player, {PlayerComponent::cast}, [] { ... });
//   overlay->setHidden(hideUI);
//
// Main run loop's thread only.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "quorel/engine/engine.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

// What an overlay may offer besides the controls that it always has.
enum class PlayerComponent { settings, cast };

class QuorelPlayerUI final : public ui::View {
public:
    // Adds the overlay to `container`, in front of what is there and as large as it. The engine is held weakly.
    // `onFullScreen` is called when the viewer asks to go to full screen or back.
    static std::shared_ptr<QuorelPlayerUI> make(const std::shared_ptr<ui::View>& container,
                                                const std::shared_ptr<THEOplayer>& player,
                                                std::vector<PlayerComponent> components,
                                                std::function<void()> onFullScreen);

    std::shared_ptr<THEOplayer> player() const { return player_.lock(); }
    const std::vector<PlayerComponent>& components() const { return components_; }

    // Whether the overlay stands on a full screen; written by the player controller.
    bool isFullScreen() const { return isFullScreen_; }
    void setFullScreen(bool isFullScreen) { isFullScreen_ = isFullScreen; }

    // For a player in a navigation stack: the overlay's buttons become the right items of the bar, in place of
    // whatever items it had.
    void moveButtonsToNavigationBar(ui::NavigationItem& item);

private:
    QuorelPlayerUI(const std::shared_ptr<THEOplayer>& player, std::vector<PlayerComponent> components,
                   std::function<void()> onFullScreen);

    std::weak_ptr<THEOplayer> player_;
    std::vector<PlayerComponent> components_;
    std::function<void()> onFullScreen_;
    bool isFullScreen_ = false;
    std::vector<std::shared_ptr<ui::View>> topRightButtons_;  // none as long as the overlay draws no controls
};

}  // namespace quorel
