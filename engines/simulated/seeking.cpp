#include <algorithm>
#include <cmath>

#include "engines/simulated/engine_core.h"
#include "engines/simulated/script.h"
#include "quorel/engine/events.h"

namespace quorel::simulated {

void EngineCore::setCurrentTime(double time, std::function<void()> completionHandler) {
    if (closed_) return;
    const auto self = shared_from_this();
    const bool possible = stage_ == Stage::loading || stage_ == Stage::metadata || stage_ == Stage::playable;
    if (!possible || !std::isfinite(time)) {
        if (completionHandler) callLater({std::move(completionHandler)});
        return;
    }
    if (completionHandler) seekHandlers_.push_back(std::move(completionHandler));
    if (stage_ == Stage::playable && !break_) {
        startSeek(clamped(time));
    } else {
        seekTarget_ = clamped(time);
    }
}

void EngineCore::startSeek(double target) {
    hold();
    const std::uint64_t course = ++course_;
    stalled_ = false;
    stallTimer_.cancel();
    seekTarget_ = target;
    seekTimer_.start(script_.seekTakes, [this] { finishSeek(); });
    if (script_.seekTakes > 0) {
        setReady(ReadyState::haveMetadata);
        if (course == course_ && announced_) tellWaiting();
    }
}

void EngineCore::finishSeek() {
    const auto self = shared_from_this();
    const std::uint64_t load = load_;
    const std::uint64_t course = ++course_;
    const double target = clamped(*seekTarget_);
    seekTarget_.reset();
    clock_.setPosition(target);
    nextStall_ =
        static_cast<std::size_t>(std::partition_point(script_.stalls.begin(), script_.stalls.end(),
                                                      [&](const auto& stall) { return stall.at < target; }) -
                                 script_.stalls.begin());
    const auto handlers = std::exchange(seekHandlers_, {});
    goOn();

    tellTime(target);
    if (course == course_) tracks_->moveTo(target);
    for (const auto& handler : handlers) {
        if (!closed_) handler();
    }
    if (load == load_ && ready_ < ReadyState::haveFutureData && !stalled_ && !seekTarget_) becomeReady();
}

}  // namespace quorel::simulated
