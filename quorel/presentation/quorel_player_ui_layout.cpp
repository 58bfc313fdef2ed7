// How the overlay is built and arranged, from the container's bounds and its safe area.
#include <algorithm>
#include <cstddef>
#include <utility>

#include "quorel/presentation/quorel_player_ui.h"
#include "quorel/ui/geometry.h"

namespace quorel {
namespace {

constexpr double slideTime = 0.3;  // seconds

// Points.
constexpr double inset = 16;
constexpr double spacing = 12;
constexpr double centreButton = 80;
constexpr double cornerButton = 40;
constexpr double sliderRow = 36;
constexpr double bottomRow = 40;
constexpr double topInset = 8;
constexpr double subtitleLeading = 60;
constexpr double subtitleWidth = 0.8;  // of the container's

// Keeps white symbols and texts apart from a white picture.
constexpr ui::Shadow softShadow{ui::Color::black(), 0.45, {0, 1}, 3};

}  // namespace

void QuorelPlayerUI::buildViews() {
    const std::weak_ptr<QuorelPlayerUI> weak = self();

    subtitleContainer_->setUserInteractionEnabled(false);
    subtitleLabel_->setFont({"", 15});
    subtitleLabel_->setTextColor(ui::Color::white());
    subtitleLabel_->setBackgroundColor(ui::Color::black(0.3));
    subtitleLabel_->setAlignment(ui::TextAlignment::center);
    subtitleLabel_->setNumberOfLines(3);
    // Stays empty: the engine draws subtitles itself.
    subtitleContainer_->addSubview(subtitleLabel_);

    settingsContainer_ = QuorelPlayerSettingsView::make(loop_, [weak] {
        if (const auto overlay = weak.lock()) overlay->closeSettings();
    });

    buildControls();
    controlsContainer_->setOpacity(0);
    addSubview(tapContainer_);
    tapContainer_->pinToSuperviewEdges();
    addSubview(subtitleContainer_);
    subtitleContainer_->pinToSuperviewEdges();
    addSubview(controlsContainer_);
    addSubview(settingsContainer_);
    setClipsToBounds(true);  // the panel waits beside the picture
}

void QuorelPlayerUI::buildControls() {
    const std::weak_ptr<QuorelPlayerUI> weak = self();
    const auto act = [weak](ui::Control& control, ui::ControlEvent event, void (QuorelPlayerUI::*action)()) {
        control.addAction(event, [weak, action] {
            if (const auto overlay = weak.lock()) ((*overlay).*action)();
        });
    };
    const auto button = [&act](ui::Button& made, const char* symbol, double size, const char* name,
                               void (QuorelPlayerUI::*action)()) {
        made.setSymbol(symbol, size);
        made.setTintColor(ui::Color::white());
        made.setAccessibilityName(name);
        made.setShadow(softShadow);
        if (action != nullptr) act(made, ui::ControlEvent::touchUpInside, action);
    };
    button(*playPauseButton_, "play.fill", 44, "Reproduzir", &QuorelPlayerUI::togglePlayPause);
    button(*skipForwardButton_, "goforward.10", 44, "Avançar 10 segundos", &QuorelPlayerUI::skipForward);
    button(*skipBackwardButton_, "gobackward.10", 44, "Voltar 10 segundos", &QuorelPlayerUI::skipBackward);
    button(*settingsButton_, "gearshape.fill", 24, "Configurações", &QuorelPlayerUI::showSettings);
    settingsButton_->setHidden(true);
    button(*castButton_, "cast", 24, "Transmitir", nullptr);
    castButton_->setEnabled(false);
    button(*fullScreenButton_, "", 18, "", &QuorelPlayerUI::toggleFullScreen);
    refreshFullScreenIcon();

    progressSlider_->setTintColor(ui::Color::white());
    progressSlider_->setAccessibilityName("Posição");
    progressSlider_->setShadow(softShadow);
    progressSlider_->setHidden(true);
    act(*progressSlider_, ui::ControlEvent::touchDown, &QuorelPlayerUI::startDrag);
    act(*progressSlider_, ui::ControlEvent::valueChanged, &QuorelPlayerUI::sliderValueChanged);
    act(*progressSlider_, ui::ControlEvent::touchUpInside, &QuorelPlayerUI::endDrag);
    act(*progressSlider_, ui::ControlEvent::touchUpOutside, &QuorelPlayerUI::endDrag);

    for (const auto& label : {timeLabel_, durationLabel_}) {
        label->setFont({"", 12});
        label->setTextColor(ui::Color::white());
        label->setShadow(softShadow);
    }
    backdropView_->setBackgroundColor(ui::Color::black(0.5));

    topRightStack_->addSubview(settingsButton_);
    if (hasCast()) topRightStack_->addSubview(castButton_);
    const std::initializer_list<std::shared_ptr<ui::View>> fromBackToFront{
        backdropView_,   topRightStack_, skipBackwardButton_, playPauseButton_, skipForwardButton_,
        progressSlider_, timeLabel_,     durationLabel_,      spacer_,          fullScreenButton_};
    for (const auto& view : fromBackToFront) controlsContainer_->addSubview(view);
}

void QuorelPlayerUI::attach(const std::shared_ptr<ui::View>& container) {
    container->addSubview(shared_from_this());
    pinToSuperviewEdges();
    layout();  // the new place may have the old size and another safe area
}

// Over the picture, or beside it on the left while the settings panel is open.
ui::Rect QuorelPlayerUI::controlsFrame() const {
    const ui::Rect all = bounds();
    return {isSettingsOpen_ ? -all.width : 0, 0, all.width, all.height};
}

void QuorelPlayerUI::slide(bool settingsOpen) {
    isSettingsOpen_ = settingsOpen;
    const ui::Rect controls = controlsFrame();
    ui::Rect panel = settingsContainer_->frame();
    panel.x = controls.right();
    controlsContainer_->animateFrame(controls, slideTime, *loop_);
    // The backdrop stands still while the controls that hold it leave.
    backdropView_->animateFrame({-controls.x, 0, controls.width, controls.height}, slideTime, *loop_);
    settingsContainer_->animateFrame(panel, slideTime, *loop_);
    settingsContainer_->layout();  // for the safe area of its new place
}

void QuorelPlayerUI::layoutSubviews() {
    const ui::Rect all = bounds();
    const ui::Insets safe = safeAreaInsets();
    const ui::Rect controls = controlsFrame();
    controlsContainer_->setFrame(controls);
    backdropView_->setFrame({-controls.x, 0, all.width, all.height});
    settingsContainer_->setFrame({controls.right(), safe.top, all.width, std::max(0.0, all.height - safe.top)});

    const double left = safe.left + inset;
    const double right = all.width - safe.right - inset;
    const double width = std::max(0.0, right - left);

    const std::size_t corner = topRightStack_->subviews().size();
    const double stack = static_cast<double>(corner) * (cornerButton + spacing) - spacing;
    topRightStack_->setFrame({right - stack, safe.top + topInset, stack, cornerButton});
    double x = 0;
    for (const auto& button : topRightStack_->subviews()) {
        button->setFrame({x, 0, cornerButton, cornerButton});
        x += cornerButton + spacing;
    }

    x = (all.width - 3 * centreButton - 2 * spacing) / 2;
    for (const auto& button : {skipBackwardButton_, playPauseButton_, skipForwardButton_}) {
        button->setFrame({x, (all.height - centreButton) / 2, centreButton, centreButton});
        x += centreButton + spacing;
    }

    const double bottom = all.height - safe.bottom - bottomRow;
    progressSlider_->setFrame({left, bottom - sliderRow, width, sliderRow});
    fullScreenButton_->setFrame({right - cornerButton, bottom, cornerButton, bottomRow});
    layoutTimes();

    const ui::Size text = subtitleLabel_->intrinsicSize();
    const double most = std::max(0.0, std::min(subtitleWidth * all.width, all.width - 2 * subtitleLeading));
    const double shown = std::min(text.width, most);
    const double lines = shown > 0 ? std::min(3.0, text.width / shown + 1) : 0;
    const double height = text.height * static_cast<double>(static_cast<int>(lines));
    subtitleLabel_->setFrame({(all.width - shown) / 2, bottom - sliderRow - height, shown, height});
}

void QuorelPlayerUI::layoutTimes() {
    const ui::Rect row = fullScreenButton_->frame();
    double x = safeAreaInsets().left + inset;
    for (const auto& label : {timeLabel_, durationLabel_}) {
        const double width = label->intrinsicSize().width;
        label->setFrame({x, row.y, width, row.height});
        x += width;
    }
    spacer_->setFrame({x, row.y, std::max(0.0, row.x - x), row.height});
}

}  // namespace quorel
