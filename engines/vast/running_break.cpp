#include <utility>

#include "engines/vast/beacons.h"
#include "engines/vast/breaks_player.h"
#include "engines/vast/vast.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/ui/view.h"

namespace quorel::vast {

void BreaksPlayer::hold() {
    if (std::exchange(held_, true)) return;
    disarm();
    wanted_ = !content_->paused();
    swallowPlay_ = false;
    const bool outer = std::exchange(quiet_, true);
    content_->pause();
    quiet_ = outer;
}

void BreaksPlayer::startBreak(const BreakPointer& planned) {
    const auto keep = shared_from_this();
    planned->played = true;
    current_ = planned;
    hold();
    if (planned->selection)
        runBreak();
    else
        ask(planned);
}

void BreaksPlayer::runBreak() {
    const auto keep = shared_from_this();
    const auto planned = current_;
    AdPodPlayer::Listener listener;
    const auto tell = [weak = weak_from_this()](const auto& type) {
        return [weak, &type] {
            if (const auto self = weak.lock()) self->ads_.dispatchEvent(type, {});
        };
    };
    listener.adBegan = tell(AdsEventTypes::AD_BEGIN);
    listener.adEnded = tell(AdsEventTypes::AD_END);
    listener.podEnded = [weak = weak_from_this()](const AdPodPlayer::Report& report) {
        if (!report.problem.empty()) logLine("Ad break error: " + report.problem);
        if (const auto self = weak.lock()) self->goOn();
    };
    listener.contentPlayhead = [weak = weak_from_this()] {
        const auto self = weak.lock();
        return self ? self->content_->currentTime() : 0.0;
    };
    stage_->setHidden(false);
    const auto pod = std::make_shared<AdPodPlayer>(services_, *planned->selection, stage_, std::move(listener));
    pod_ = pod;
    pod->setSound(content_->volume(), content_->muted());
    services_->beacons->send(urlsOf(planned->trackings, "breakStart"));
    breakTold_ = true;
    ads_.dispatchEvent(AdsEventTypes::AD_BREAK_BEGIN, {});
    if (pod_ != pod) return;
    pod->start();
    if (!wanted_) pod->pause();
}

// The break is over, or there is nothing in it: to the next one of this place, or to the content.
void BreaksPlayer::goOn() {
    const auto keep = shared_from_this();
    const std::uint64_t load = load_;
    const auto over = std::exchange(current_, nullptr);
    pod_ = nullptr;
    stage_->setHidden(true);
    if (std::exchange(breakTold_, false)) {
        services_->beacons->send(urlsOf(over->trackings, "breakEnd"));
        ads_.dispatchEvent(AdsEventTypes::AD_BREAK_END, {});
        if (load != load_ || !held_ || current_) return;
    }
    BreakPointer next;
    if (atEnd_) {
        next = dueAtEnd();
    } else if (!seek_) {
        next = dueAt(content_->currentTime());
        if (!next && (!over || over->offset.at(std::nullopt) == 0.0)) next = dueAtStart();
    }
    if (next) return startBreak(next);
    // Held for tags that may still bring a break at the start.
    if (!atEnd_ && startTagsUnderWay_ > 0 && (!over || over->offset.at(std::nullopt) == 0.0)) return;
    release();
}

void BreaksPlayer::release() {
    const std::uint64_t load = load_;
    held_ = false;
    if (std::exchange(atEnd_, false)) {
        if (std::exchange(wanted_, false)) dispatchEvent(PlayerEventTypes::PAUSE, {});
        if (load == load_ && !held_) dispatchEvent(PlayerEventTypes::ENDED, {});
        return;
    }
    if (const auto to = std::exchange(seek_, std::nullopt)) {
        auto handlers = std::exchange(seekHandlers_, {});
        setCurrentTime(*to, [handlers = std::move(handlers)] {
            for (const auto& handler : handlers) handler();
        });
    }
    if (!wanted_) return;
    swallowPlay_ = true;
    content_->play();
}

// Ends a break because its source does: the outside hears the end of all that it heard the beginning of. False when a
// listener has taken the source away meanwhile.
bool BreaksPlayer::endBreak() {
    const std::uint64_t load = load_;
    const auto pod = std::exchange(pod_, nullptr);
    current_ = nullptr;
    const bool told = std::exchange(breakTold_, false);
    const bool playing = std::exchange(held_, false) && std::exchange(wanted_, false);
    atEnd_ = false;
    seek_.reset();
    stage_->setHidden(true);
    for (auto& handler : std::exchange(seekHandlers_, {})) services_->loop->post(std::move(handler));
    if (pod) pod->stop();
    if (told) ads_.dispatchEvent(AdsEventTypes::AD_BREAK_END, {});
    if (playing) dispatchEvent(PlayerEventTypes::PAUSE, {});
    return load == load_;
}

}  // namespace quorel::vast
