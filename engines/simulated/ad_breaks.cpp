#include <algorithm>
#include <cmath>

#include "engines/simulated/engine_core.h"
#include "engines/simulated/script.h"
#include "engines/simulated/test_picture.h"
#include "quorel/engine/events.h"

namespace quorel::simulated {

double EngineCore::startOf(const PlannedBreak& planned) const {
    return std::min(planned.script.offset, end());
}

double EngineCore::nextBreak(double from) const {
    double next = SimulatedScript::infinite;
    for (const auto& planned : breaks_) {
        const double start = startOf(planned);
        if (!planned.played && start >= from - samePosition) next = std::min(next, start);
    }
    return next;
}

bool EngineCore::startBreakThatIsDue() {
    const double here = position();
    const auto due = std::find_if(breaks_.begin(), breaks_.end(), [&](const auto& planned) {
        return !planned.played && std::abs(startOf(planned) - here) <= samePosition;
    });
    if (due == breaks_.end()) return false;
    due->played = true;
    hold();
    ++course_;
    playingTold_ = false;
    break_ = RunningBreak{due->script.ads};
    adTimer_.start(0.0, [this] { stepBreak(); });
    tellOfAds(AdsEventTypes::AD_BREAK_BEGIN);
    return true;
}

void EngineCore::stepBreak() {
    const auto self = shared_from_this();
    if (break_->inAd) {
        break_->inAd = false;
        ++break_->next;
        adTimer_.start(0.0, [this] { stepBreak(); });
        tellOfAds(AdsEventTypes::AD_END);
    } else if (break_->next < break_->ads.size()) {
        break_->inAd = true;
        adTimer_.start(break_->ads[break_->next], [this] { stepBreak(); });
        frames_->show(position(), simulatedAdColor);
        tellOfAds(AdsEventTypes::AD_BEGIN);
    } else {
        break_.reset();
        ++course_;
        frames_->show(position(), simulatedContentColor);
        if (seekTarget_) seekTimer_.start(0.0, [this] { finishSeek(); });
        goOn();
        tellOfAds(AdsEventTypes::AD_BREAK_END);
    }
}

void EngineCore::tellEndOfBreak(const std::optional<RunningBreak>& running) {
    if (!running) return;
    if (running->inAd) tellOfAds(AdsEventTypes::AD_END);
    tellOfAds(AdsEventTypes::AD_BREAK_END);
}

void EngineCore::simulateAdBreak(SimulatedAdBreak adBreak) {
    if (stage_ != Stage::playable || break_) return;
    const auto self = shared_from_this();
    adBreak.offset = currentTime();
    breaks_.insert(breaks_.begin(), PlannedBreak{std::move(adBreak)});
    if (!clock_.running()) return;
    hold();
    ++course_;
    goOn();
}

}  // namespace quorel::simulated
