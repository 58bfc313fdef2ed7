// The screen that the engine's picture and the overlay move to in full screen. They are moved, never made anew, so
// that their listeners and timers live on.
//
// Main run loop's thread only.
#pragma once

#include <memory>

#include "quorel/engine/engine.h"
#include "quorel/presentation/export.h"
#include "quorel/presentation/quorel_player_ui.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

// Presented by the player controller while it is in full screen.
class QUOREL_PRESENTATION_API FullScreenQuorelController final : public ui::ViewController {
public:
    // Both are to be set before the view is asked for; a screen without them stops the process.
    void setPlayer(std::shared_ptr<THEOplayer> player) { player_ = std::move(player); }
    void setUI(std::shared_ptr<QuorelPlayerUI> ui) { ui_ = std::move(ui); }

    // Lies over the whole screen and holds the overlay.
    const std::shared_ptr<ui::View>& viewHolder() const { return viewHolder_; }

    // Landscape only, whatever the application allows elsewhere.
    ui::InterfaceOrientationMask supportedInterfaceOrientations() const override {
        return ui::InterfaceOrientationMask::landscape;
    }
    ui::InterfaceOrientation preferredInterfaceOrientationForPresentation() const override {
        return ui::InterfaceOrientation::landscapeRight;
    }
    bool prefersHomeIndicatorAutoHidden() const override { return true; }

protected:
    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;

private:
    std::shared_ptr<THEOplayer> player_;
    std::shared_ptr<QuorelPlayerUI> ui_;
    const std::shared_ptr<ui::View> viewHolder_ = ui::View::make();
};

}  // namespace quorel
