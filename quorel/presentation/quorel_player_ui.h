// The overlay over the engine's picture: play and pause, skips of 10 seconds, a slider with the times, full screen,
// settings, Cast, and a spinner. It shows what the engine's events tell, and fades by itself.
//
//   auto overlay = QuorelPlayerUI::make(viewHolder, player, {PlayerComponent::cast}, [] { ... }, loop);
//   overlay->setHidden(hideUI);
//
// Main run loop's thread only. A host draws the tree, brings touches to it by a ui::Pointer, and may call the
// actions for its keys.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/timer.h"
#include "quorel/presentation/export.h"
#include "quorel/presentation/loading_view.h"
#include "quorel/presentation/settings_view.h"
#include "quorel/ui/control.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

// What an overlay may offer besides the controls that it always has. The settings are always there.
enum class PlayerComponent { settings, cast };

class QUOREL_PRESENTATION_API QuorelPlayerUI final : public ui::View {
public:
    static constexpr double fadeTime = 4.0;  // seconds that the controls stay
    static constexpr double skip = 10.0;     // seconds

    // Adds the overlay to `container`, in front of what is there and as large as it. The engine is held weakly:
    // once it is gone, what would act on it does nothing. `onFullScreen` is called when the viewer asks to go to
    // full screen or back.
    static std::shared_ptr<QuorelPlayerUI> make(const std::shared_ptr<ui::View>& container,
                                                const std::shared_ptr<THEOplayer>& player,
                                                std::vector<PlayerComponent> components,
                                                std::function<void()> onFullScreen,
                                                const std::shared_ptr<RunLoop>& loop);

    std::shared_ptr<THEOplayer> player() const { return player_.lock(); }
    const std::vector<PlayerComponent>& components() const { return components_; }

    // Moves the overlay into another container, in front and as large as it.
    void attach(const std::shared_ptr<ui::View>& container);

    // Whether the overlay stands on a full screen; written by the player controller, which then asks for the icon.
    bool isFullScreen() const { return isFullScreen_; }
    void setFullScreen(bool isFullScreen) { isFullScreen_ = isFullScreen; }
    void refreshFullScreenIcon();

    // For a player in a navigation stack: the settings and the Cast button become the right items of the bar, in
    // place of whatever items it had, and there is no full screen any more.
    void moveButtonsToNavigationBar(ui::NavigationItem& item);
    const std::optional<ui::BarButtonItem>& castBarButton() const { return castBarButton_; }

    // The actions of the controls.
    void togglePlayPause();
    void skipForward();   // not past the duration; while no duration is known, to 0
    void skipBackward();  // not before 0
    void showSettings();
    void closeSettings();
    void toggleFullScreen();
    // Hides the controls while they show and the content plays, and shows them otherwise; then again after
    // `fadeTime`, which hides them, or in a pause keeps them. Also what the fade timer and the taps do.
    void toggleControls();
    void startDrag();           // pauses until the drag ends
    void sliderValueChanged();  // seeks to where the slider stands
    void endDrag();

    // What it consists of, for hosts and tests.
    const std::shared_ptr<ui::View>& controlsContainer() const { return controlsContainer_; }
    const std::shared_ptr<ui::View>& backdropView() const { return backdropView_; }
    const std::shared_ptr<ui::View>& tapContainer() const { return tapContainer_; }
    const std::shared_ptr<ui::View>& topRightStack() const { return topRightStack_; }
    const std::shared_ptr<ui::Button>& playPauseButton() const { return playPauseButton_; }
    const std::shared_ptr<ui::Button>& skipForwardButton() const { return skipForwardButton_; }
    const std::shared_ptr<ui::Button>& skipBackwardButton() const { return skipBackwardButton_; }
    const std::shared_ptr<ui::Button>& settingsButton() const { return settingsButton_; }
    // Disabled: casting is the business of a host that has it, which enables the button and gives it an action.
    const std::shared_ptr<ui::Button>& castButton() const { return castButton_; }
    const std::shared_ptr<ui::Button>& fullScreenButton() const { return fullScreenButton_; }
    const std::shared_ptr<ui::Slider>& progressSlider() const { return progressSlider_; }
    const std::shared_ptr<ui::Label>& timeLabel() const { return timeLabel_; }
    const std::shared_ptr<ui::Label>& durationLabel() const { return durationLabel_; }
    const std::shared_ptr<ui::Label>& subtitleLabel() const { return subtitleLabel_; }
    const std::shared_ptr<QuorelPlayerSettingsView>& settingsContainer() const { return settingsContainer_; }
    const std::shared_ptr<LoadingView>& loadingAnimation() const { return loadingAnimation_; }
    bool isSettingsOpen() const { return isSettingsOpen_; }
    double duration() const { return duration_; }  // seconds; 0 until known, infinite for live

protected:
    void layoutSubviews() override;

private:
    QuorelPlayerUI(const std::shared_ptr<THEOplayer>& player, std::vector<PlayerComponent> components,
                   std::function<void()> onFullScreen, const std::shared_ptr<RunLoop>& loop);

    std::shared_ptr<QuorelPlayerUI> self();
    bool hasCast() const;

    // quorel_player_ui_layout.cpp
    void buildViews();
    void buildControls();
    void slide(bool settingsOpen);
    ui::Rect controlsFrame() const;
    void layoutTimes();

    void registerEngineListeners(THEOplayer& player);
    void enableTaps();
    void refreshPlayButton();
    void restartFadeTimer();
    void updateTime(std::optional<double> given);  // absent: the engine is asked

    const std::weak_ptr<THEOplayer> player_;
    const std::vector<PlayerComponent> components_;
    const std::function<void()> onFullScreen_;
    const std::shared_ptr<RunLoop> loop_;
    std::shared_ptr<Timer> fadeTimer_;
    double duration_ = 0;
    bool wasPlayingBeforeDrag_ = false;
    bool isFullScreen_ = false;
    bool isSettingsOpen_ = false;
    std::optional<ui::BarButtonItem> castBarButton_;

    const std::shared_ptr<ui::View> tapContainer_ = ui::View::make();
    const std::shared_ptr<ui::View> subtitleContainer_ = ui::View::make();
    const std::shared_ptr<ui::Label> subtitleLabel_ = ui::Label::make();
    // All that fades: its opacity is the only thing that says whether the controls show.
    const std::shared_ptr<ui::View> controlsContainer_ = ui::View::make();
    const std::shared_ptr<ui::View> backdropView_ = ui::View::make();
    const std::shared_ptr<ui::View> topRightStack_ = ui::View::make();
    const std::shared_ptr<ui::Button> settingsButton_ = ui::Button::make();
    const std::shared_ptr<ui::Button> castButton_ = ui::Button::make();
    const std::shared_ptr<ui::Button> skipBackwardButton_ = ui::Button::make();
    const std::shared_ptr<ui::Button> playPauseButton_ = ui::Button::make();
    const std::shared_ptr<ui::Button> skipForwardButton_ = ui::Button::make();
    const std::shared_ptr<ui::Slider> progressSlider_ = ui::Slider::make();
    const std::shared_ptr<ui::Label> timeLabel_ = ui::Label::make();
    const std::shared_ptr<ui::Label> durationLabel_ = ui::Label::make();
    const std::shared_ptr<ui::View> spacer_ = ui::View::make();
    const std::shared_ptr<ui::Button> fullScreenButton_ = ui::Button::make();
    std::shared_ptr<QuorelPlayerSettingsView> settingsContainer_;
    std::shared_ptr<LoadingView> loadingAnimation_;
};

}  // namespace quorel
