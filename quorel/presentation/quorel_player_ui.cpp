// What the overlay does. How it is built and arranged stands in quorel_player_ui_layout.cpp.
#include "quorel/presentation/quorel_player_ui.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "quorel/presentation/time_text.h"

namespace quorel {
namespace {

constexpr double symbolSize = 44;            // points
constexpr double fullScreenSymbolSize = 18;  // points

}  // namespace

std::shared_ptr<QuorelPlayerUI> QuorelPlayerUI::make(const std::shared_ptr<ui::View>& container,
                                                     const std::shared_ptr<THEOplayer>& player,
                                                     std::vector<PlayerComponent> components,
                                                     std::function<void()> onFullScreen,
                                                     const std::shared_ptr<RunLoop>& loop) {
    std::shared_ptr<QuorelPlayerUI> overlay(
        new QuorelPlayerUI(player, std::move(components), std::move(onFullScreen), loop));
    overlay->buildViews();
    overlay->attach(container);
    overlay->loadingAnimation_->attach(overlay);
    overlay->loadingAnimation_->startAnimating();
    if (player) overlay->registerEngineListeners(*player);
    return overlay;
}

QuorelPlayerUI::QuorelPlayerUI(const std::shared_ptr<THEOplayer>& player, std::vector<PlayerComponent> components,
                               std::function<void()> onFullScreen, const std::shared_ptr<RunLoop>& loop)
    : player_(player),
      components_(std::move(components)),
      onFullScreen_(std::move(onFullScreen)),
      loop_(loop),
      loadingAnimation_(LoadingView::make(loop)) {}

std::shared_ptr<QuorelPlayerUI> QuorelPlayerUI::self() {
    return std::static_pointer_cast<QuorelPlayerUI>(shared_from_this());
}

bool QuorelPlayerUI::hasCast() const {
    return std::ranges::find(components_, PlayerComponent::cast) != components_.end();
}

// No handles are kept: the listeners go with the engine.
void QuorelPlayerUI::registerEngineListeners(THEOplayer& player) {
    const std::weak_ptr<QuorelPlayerUI> weak = self();
    const auto on = [weak](EventDispatcher& emitter, const auto& type, auto reaction) {
        emitter.addEventListener(type, [weak, reaction](const auto& event) {
            if (const auto overlay = weak.lock()) reaction(*overlay, event);
        });
    };
    on(player, PlayerEventTypes::DURATION_CHANGE, [](QuorelPlayerUI& overlay, const DurationChangeEvent& event) {
        overlay.duration_ = event.duration.value_or(0);
        overlay.updateTime(std::nullopt);
    });
    on(player, PlayerEventTypes::TIME_UPDATE, [](QuorelPlayerUI& overlay, const TimeUpdateEvent& event) {
        if (!(overlay.duration_ > 0)) return;
        // Deliberately also during a drag: the engine says where it is.
        overlay.progressSlider_->setValue(static_cast<float>(event.currentTime / overlay.duration_));
        overlay.updateTime(event.currentTime);
    });
    on(player, PlayerEventTypes::WAITING,
       [](QuorelPlayerUI& overlay, const WaitingEvent&) { overlay.loadingAnimation_->startAnimating(); });
    on(player, PlayerEventTypes::CAN_PLAY_THROUGH,
       [](QuorelPlayerUI& overlay, const CanPlayThroughEvent&) { overlay.loadingAnimation_->stopAnimating(); });
    on(player, PlayerEventTypes::PLAYING, [](QuorelPlayerUI& overlay, const PlayingEvent&) {
        overlay.loadingAnimation_->stopAnimating();
        overlay.refreshPlayButton();
    });
    on(player, PlayerEventTypes::PAUSE,
       [](QuorelPlayerUI& overlay, const PauseEvent&) { overlay.refreshPlayButton(); });
    on(player, PlayerEventTypes::ENDED,
       [](QuorelPlayerUI& overlay, const EndedEvent&) { overlay.refreshPlayButton(); });
    on(player, PlayerEventTypes::LOADED_META_DATA,
       [](QuorelPlayerUI& overlay, const LoadedMetaDataEvent&) { overlay.enableTaps(); });
}

// Before the first metadata the overlay is deaf to taps. Deliberately, each further source adds another pair of
// recognisers, so that after the second one a tap shows and hides at once.
void QuorelPlayerUI::enableTaps() {
    const std::weak_ptr<QuorelPlayerUI> weak = self();
    for (const auto& view : {tapContainer_, controlsContainer_}) {
        view->addTapRecognizer([weak] {
            if (const auto overlay = weak.lock()) overlay->toggleControls();
        });
        view->setUserInteractionEnabled(true);
    }
    sendSubviewToBack(tapContainer_);
}

void QuorelPlayerUI::updateTime(std::optional<double> given) {
    const bool isLive = std::isinf(duration_);
    if (isLive) {
        durationLabel_->setText({});
        timeLabel_->setText({});
    } else {
        if (!(duration_ > 0)) return;
        const auto player = player_.lock();
        const double time = given ? *given : player ? player->currentTime() : 0;
        durationLabel_->setText(timeText(duration_));
        timeLabel_->setText(timeText(time) + " / ");
    }
    layoutTimes();
    progressSlider_->setHidden(isLive);
    skipForwardButton_->setHidden(isLive);
    skipBackwardButton_->setHidden(isLive);
    settingsButton_->setHidden(isLive);
}

void QuorelPlayerUI::toggleControls() {
    const auto player = player_.lock();
    if (!player) return;
    if (controlsContainer_->opacity() == 1.0 && !player->paused()) {
        controlsContainer_->animateOpacity(0, 0.5, *loop_);
        if (fadeTimer_) fadeTimer_->invalidate();
    } else {
        controlsContainer_->animateOpacity(1, 0.2, *loop_);
        restartFadeTimer();
    }
}

// The timer toggles; it does not merely hide. So whatever restarts it while the controls are hidden, such as the
// beginning of playback, brings them up 4 seconds later, and in a pause it goes on for ever. All of that is meant.
void QuorelPlayerUI::restartFadeTimer() {
    if (fadeTimer_) fadeTimer_->invalidate();
    fadeTimer_ = Timer::scheduledWeak(*loop_, fadeTime, Timer::Repeats::no, std::weak_ptr(self()),
                                      &QuorelPlayerUI::toggleControls);
}

void QuorelPlayerUI::refreshPlayButton() {
    const auto player = player_.lock();
    if (!player) return;
    const bool paused = player->paused();
    playPauseButton_->setSymbol(paused ? "play.fill" : "pause.fill", symbolSize);
    playPauseButton_->setAccessibilityName(paused ? "Reproduzir" : "Pausar");
    restartFadeTimer();
}

void QuorelPlayerUI::togglePlayPause() {
    const auto player = player_.lock();
    if (!player) return;
    if (player->paused()) {
        player->play();
    } else {
        player->pause();
    }
    restartFadeTimer();
}

void QuorelPlayerUI::skipBackward() {
    const auto player = player_.lock();
    if (!player) return;
    player->setCurrentTime(std::max(0.0, player->currentTime() - skip));
    restartFadeTimer();
}

void QuorelPlayerUI::skipForward() {
    const auto player = player_.lock();
    if (!player) return;
    player->setCurrentTime(std::min(duration_, player->currentTime() + skip));
    restartFadeTimer();
}

void QuorelPlayerUI::startDrag() {
    const auto player = player_.lock();
    if (!player) return;
    wasPlayingBeforeDrag_ = !player->paused();
    player->pause();
}

void QuorelPlayerUI::sliderValueChanged() {
    const auto player = player_.lock();
    if (!player) return;
    const double time = static_cast<double>(progressSlider_->value()) * duration_;
    player->setCurrentTime(time);
    updateTime(time);
}

void QuorelPlayerUI::endDrag() {
    const auto player = player_.lock();
    if (player && wasPlayingBeforeDrag_) player->play();
}

void QuorelPlayerUI::showSettings() {
    const auto player = player_.lock();
    if (!player) return;
    settingsContainer_->show(player, player->playbackRate());
    slide(true);
}

void QuorelPlayerUI::closeSettings() {
    controlsContainer_->setOpacity(1);
    restartFadeTimer();
    slide(false);
}

void QuorelPlayerUI::toggleFullScreen() {
    if (onFullScreen_) onFullScreen_();
}

void QuorelPlayerUI::refreshFullScreenIcon() {
    fullScreenButton_->setSymbol(
        isFullScreen_ ? "arrow.down.right.and.arrow.up.left" : "arrow.up.left.and.arrow.down.right",
        fullScreenSymbolSize);
    fullScreenButton_->setAccessibilityName(isFullScreen_ ? "Sair da tela cheia" : "Tela cheia");
}

void QuorelPlayerUI::moveButtonsToNavigationBar(ui::NavigationItem& item) {
    item.rightBarItems = {{settingsButton_}};
    if (hasCast()) {
        castBarButton_ = ui::BarButtonItem{castButton_};
        item.rightBarItems.push_back(*castBarButton_);
    }
    topRightStack_->setHidden(true);
    fullScreenButton_->setHidden(true);
}

}  // namespace quorel
