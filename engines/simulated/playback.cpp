#include <algorithm>
#include <chrono>
#include <cmath>

#include "engines/simulated/engine_core.h"
#include "engines/simulated/script.h"
#include "quorel/engine/events.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::simulated {

double EngineCore::liveEdge() const {
    return script_.liveEdge + secondsFromDuration(loop_->now() - metadataAt_);
}

double EngineCore::position() const {
    const bool live = duration_ && std::isinf(*duration_);
    return live ? std::min(clock_.position(), liveEdge()) : clock_.position();
}

double EngineCore::end() const {
    return duration_.value_or(SimulatedScript::infinite);
}

double EngineCore::clamped(double time) const {
    if (duration_) time = std::min(time, std::isinf(*duration_) ? liveEdge() : *duration_);
    return std::max(time, 0.0);
}

void EngineCore::play() {
    if (wanted_ || !source_ || stage_ == Stage::broken) return;
    const auto self = shared_from_this();
    wanted_ = true;
    if (stage_ == Stage::playable) announce();
}

void EngineCore::announce() {
    if (!seekTarget_ && !break_ && position() >= end()) startSeek(0);
    announced_ = true;
    const std::uint64_t course = ++course_;
    goOn();
    tell(PlayerEventTypes::PLAY);
    if (course == course_ && isWaiting()) tellWaiting();
}

void EngineCore::pause() {
    if (!wanted_) return;
    const auto self = shared_from_this();
    wanted_ = false;
    if (!announced_) return;
    hold();
    adTimer_.halt();
    ++course_;
    announced_ = false;
    playingTold_ = false;
    tell(PlayerEventTypes::PAUSE);
}

bool EngineCore::mayMove() const {
    return stage_ == Stage::playable && announced_ && !stalled_ && (!seekTarget_ || break_);
}

bool EngineCore::isWaiting() const {
    return !break_ && (stalled_ || (seekTarget_ && ready_ < ReadyState::haveFutureData));
}

void EngineCore::hold() {
    clock_.setPosition(position());
    clock_.stop();
    playbackTimer_.cancel();
}

void EngineCore::goOn() {
    if (mayMove()) playbackTimer_.start(0.0, [this] { resume(); });
}

void EngineCore::resume() {
    if (!mayMove()) return;
    const auto self = shared_from_this();
    if (break_) {
        adTimer_.proceed();
        return;
    }
    if (startBreakThatIsDue()) return;
    if (position() >= end()) {
        finish();
        return;
    }
    if (!playingTold_) {
        playingTold_ = true;
        waitingTold_ = false;
        const std::uint64_t course = course_;
        tell(PlayerEventTypes::PLAYING);
        if (course != course_) return;
    }
    clock_.start();
    nextTick_ = loop_->now() + durationFromSeconds(script_.timeUpdateInterval);
    arm();
}

void EngineCore::arm() {
    const double here = position();
    boundary_ = std::min({end(), tracks_->nextChange(), nextBreak(here)});
    if (nextStall_ < script_.stalls.size()) boundary_ = std::min(boundary_, script_.stalls[nextStall_].at);
    if (script_.error && script_.error->at && *script_.error->at >= here - samePosition) {
        boundary_ = std::min(boundary_, *script_.error->at);
    }
    const Duration untilTick = nextTick_ - loop_->now();
    playbackTimer_.start(std::min(untilTick, clock_.timeUntil(boundary_)), [this] { move(); });
}

// At the next tick or boundary, whichever playbackTimer_ was armed for.
void EngineCore::move() {
    const auto self = shared_from_this();
    const std::uint64_t course = course_;
    const bool reached = position() >= boundary_ - samePosition;
    const double here = reached ? boundary_ : position();
    // On a loop that comes late the presentation has stood still at the boundary meanwhile.
    clock_.setPosition(here);

    const Duration now = loop_->now();
    if (now >= nextTick_) {
        const Duration interval = durationFromSeconds(script_.timeUpdateInterval);
        nextTick_ += interval * ((now - nextTick_) / interval + 1);
        // The end has its own TIME_UPDATE.
        if (here < end()) tellTime(here);
        if (course != course_) return;
    }
    tracks_->moveTo(here);
    if (course != course_) return;
    if (reached) {
        if (script_.error && script_.error->at && std::abs(*script_.error->at - here) <= samePosition) {
            fail(script_.error->text);
            return;
        }
        if (nextStall_ < script_.stalls.size() && script_.stalls[nextStall_].at <= here) {
            beginStall(script_.stalls[nextStall_++].lasts);
            return;
        }
        if (startBreakThatIsDue()) return;
        if (here >= end()) {
            finish();
            return;
        }
    }
    arm();
}

void EngineCore::finish() {
    hold();
    clock_.setPosition(end());
    std::uint64_t course = ++course_;
    tellTime(end());
    if (course != course_) return;
    wanted_ = false;
    announced_ = false;
    playingTold_ = false;
    course = ++course_;
    tell(PlayerEventTypes::PAUSE);
    if (course == course_) tell(PlayerEventTypes::ENDED);
}

void EngineCore::simulateStall(double seconds) {
    if (stage_ == Stage::playable && !break_ && !seekTarget_) beginStall(seconds);
}

void EngineCore::beginStall(double seconds) {
    const auto self = shared_from_this();
    const Duration lasts = durationFromSeconds(seconds > 0 ? seconds : 0);
    const bool first = !stalled_;
    if (!first && stallTimer_.due() >= loop_->now() + lasts) return;
    hold();
    stalled_ = true;
    stallTimer_.start(lasts, [this] { endStall(); });
    if (!first) return;
    const std::uint64_t course = ++course_;
    setReady(ReadyState::haveCurrentData);
    if (course == course_ && announced_) tellWaiting();
}

void EngineCore::endStall() {
    const auto self = shared_from_this();
    stalled_ = false;
    ++course_;
    goOn();
    becomeReady();
}

void EngineCore::tellWaiting() {
    playingTold_ = false;
    if (std::exchange(waitingTold_, true)) return;
    tell(PlayerEventTypes::WAITING);
}

}  // namespace quorel::simulated
