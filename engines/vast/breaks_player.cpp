#include "engines/vast/breaks_player.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorel::vast {

BreaksPlayer::BreaksPlayer(std::shared_ptr<const AdServices> services, std::shared_ptr<THEOplayer> content)
    : services_(std::move(services)), content_(std::move(content)) {
    stage_->setHidden(true);
    stage_->setAccessibilityName("Ads");
}

BreaksPlayer::~BreaksPlayer() {
    disarm();
    pod_ = nullptr;
    stage_->removeFromSuperview();
}

template <class E>
void BreaksPlayer::forward(const EventType<E>& type) {
    content_->addEventListener(type, [weak = weak_from_this(), &type](const E& event) {
        if (const auto self = weak.lock()) self->hear(type, event);
    });
}

template <class E>
void BreaksPlayer::hear([[maybe_unused]] const EventType<E>& type, const E& event) {
    if constexpr (requires { on(event); }) {
        on(event);
    } else {
        dispatchEvent(type, event);
    }
}

void BreaksPlayer::listen() {
    forward(PlayerEventTypes::LOADED_META_DATA);
    forward(PlayerEventTypes::PLAY);
    forward(PlayerEventTypes::PLAYING);
    forward(PlayerEventTypes::PAUSE);
    forward(PlayerEventTypes::WAITING);
    forward(PlayerEventTypes::ENDED);
    forward(PlayerEventTypes::DURATION_CHANGE);
    forward(PlayerEventTypes::ERROR);
    forward(PlayerEventTypes::TIME_UPDATE);
    forward(PlayerEventTypes::VOLUME_CHANGE);
    forward(PlayerEventTypes::RATE_CHANGE);
    forward(PlayerEventTypes::CAN_PLAY);
    forward(PlayerEventTypes::CAN_PLAY_THROUGH);
    forward(PlayerEventTypes::READY_STATE_CHANGE);
}

void BreaksPlayer::addIntegration(std::shared_ptr<Integration> integration) {
    if (dynamic_cast<AdIntegration*>(integration.get()) != nullptr) enabled_ = true;
    content_->addIntegration(std::move(integration));
}

void BreaksPlayer::addAsSubview(const std::shared_ptr<ui::View>& view) {
    view->addSubview(stage_);
    stage_->pinToSuperviewEdges();
    view->sendSubviewToBack(stage_);
    content_->addAsSubview(view);  // behind the stage
}

void BreaksPlayer::setFrame(const ui::Rect& frame) {
    content_->setFrame(frame);
    stage_->setFrame(frame);
}

void BreaksPlayer::setSource(std::optional<SourceDescription> source) {
    const auto keep = shared_from_this();
    const std::uint64_t load = ++load_;
    breaks_.clear();
    startTagsUnderWay_ = 0;
    started_ = swallowPlay_ = pauseOwed_ = false;
    from_ = 0;
    disarm();
    // Whoever sets a source when he hears of the break's end comes later in time.
    if (!endBreak() || load != load_) return;
    const bool outer = std::exchange(calling_, true);
    content_->setSource(source);
    calling_ = outer;
    if (load == load_ && source && enabled_) planBreaks(*source);
}

void BreaksPlayer::stop(std::function<void()> completionHandler) {
    const auto keep = shared_from_this();
    const std::uint64_t load = load_;
    setSource(std::nullopt);
    if (load + 1 == load_) content_->stop(std::move(completionHandler));
}

void BreaksPlayer::play() {
    if (!held_) {
        const auto keep = shared_from_this();
        return content_->play();
    }
    if (std::exchange(wanted_, true)) return;
    const auto keep = shared_from_this();
    if (pod_) pod_->resume();
    dispatchEvent(PlayerEventTypes::PLAY, {});
}

void BreaksPlayer::pause() {
    const auto keep = shared_from_this();
    if (held_) {
        if (!std::exchange(wanted_, false)) return;
        if (pod_) pod_->pause();
        dispatchEvent(PlayerEventTypes::PAUSE, {});
        return;
    }
    const bool outer = std::exchange(calling_, true);
    content_->pause();
    calling_ = outer;
    // The content was to go on after a break and has not yet, so it has nothing to tell.
    if (std::exchange(swallowPlay_, false)) dispatchEvent(PlayerEventTypes::PAUSE, {});
}

void BreaksPlayer::setCurrentTime(double time, std::function<void()> completionHandler) {
    if (held_ && !atEnd_ && std::isfinite(time)) {
        seek_ = time;
        if (completionHandler) seekHandlers_.push_back(std::move(completionHandler));
        return;
    }
    if (std::isfinite(time) && !atEnd_) {
        from_ = time;
        disarm();
    }
    content_->setCurrentTime(time, std::move(completionHandler));
}

void BreaksPlayer::setMuted(bool muted) {
    content_->setMuted(muted);
    if (pod_) pod_->setSound(volume(), muted);
}

void BreaksPlayer::setVolume(double volume) {
    content_->setVolume(volume);
    if (pod_) pod_->setSound(content_->volume(), muted());
}

void BreaksPlayer::on(const PlayEvent& event) {
    if (std::exchange(swallowPlay_, false)) return;
    const std::uint64_t load = load_;
    dispatchEvent(PlayerEventTypes::PLAY, event);
    if (load != load_ || held_ || content_->paused() || std::exchange(started_, true)) return;
    from_ = std::max(from_, content_->currentTime());  // a live stream begins far from its own start
    if (const auto first = dueAtStart()) {
        startBreak(first);
    } else if (startTagsUnderWay_ > 0) {
        hold();
    }
}

void BreaksPlayer::on(const PlayingEvent& event) {
    if (held_) return;
    const std::uint64_t load = load_;
    dispatchEvent(PlayerEventTypes::PLAYING, event);
    if (load == load_ && !held_) check();
}

void BreaksPlayer::on(const PauseEvent& event) {
    disarm();
    if (quiet_ || held_) return;
    swallowPlay_ = false;
    if (!calling_ && dueAtEnd()) {
        pauseOwed_ = true;
    } else {
        dispatchEvent(PlayerEventTypes::PAUSE, event);
    }
}

void BreaksPlayer::on(const WaitingEvent& event) {
    disarm();
    if (!held_) dispatchEvent(PlayerEventTypes::WAITING, event);
}

void BreaksPlayer::on(const EndedEvent& event) {
    disarm();
    if (held_) {
        atEnd_ = true;
        return;
    }
    if (!std::exchange(pauseOwed_, false)) return dispatchEvent(PlayerEventTypes::ENDED, event);
    atEnd_ = held_ = wanted_ = true;
    startBreak(dueAtEnd());
}

void BreaksPlayer::on(const ErrorEvent& event) {
    disarm();
    breaks_.clear();
    const std::uint64_t load = load_;
    if (!endBreak() || load != load_) return;
    if (std::exchange(pauseOwed_, false)) dispatchEvent(PlayerEventTypes::PAUSE, {});
    if (load == load_) dispatchEvent(PlayerEventTypes::ERROR, event);
}

void BreaksPlayer::on(const TimeUpdateEvent& event) {
    if (held_) return;
    const std::uint64_t load = load_;
    dispatchEvent(PlayerEventTypes::TIME_UPDATE, event);
    if (load == load_ && !held_) check();
}

void BreaksPlayer::on(const DurationChangeEvent& event) {
    const std::uint64_t load = load_;
    dispatchEvent(PlayerEventTypes::DURATION_CHANGE, event);
    if (load == load_) arm();
}

void BreaksPlayer::on(const RateChangeEvent& event) {
    const std::uint64_t load = load_;
    dispatchEvent(PlayerEventTypes::RATE_CHANGE, event);
    if (load == load_) arm();
}

}  // namespace quorel::vast
