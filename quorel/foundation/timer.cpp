#include "quorel/foundation/timer.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace quorel {

std::shared_ptr<Timer> Timer::scheduled(RunLoop& loop, double interval, Repeats repeats, Block block) {
    const Duration shortest = std::chrono::microseconds(100);
    auto timer = std::make_shared<Timer>(loop, std::max(durationFromSeconds(interval), shortest), repeats,
                                         std::move(block));
    timer->arm();
    return timer;
}

Timer::Timer(RunLoop& loop, Duration interval, Repeats repeats, Block block)
    : loop_(loop), interval_(interval), repeats_(repeats), block_(std::move(block)), due_(loop.now() + interval) {}

void Timer::arm() {
    pending_ = loop_.schedule(due_ - loop_.now(), [self = shared_from_this()] { self->fire(); });
}

void Timer::fire() {
    if (!valid_) return;
    const std::shared_ptr<Timer> self = shared_from_this();
    pending_ = 0;
    if (repeats_ == Repeats::yes) {
        const Duration now = loop_.now();
        due_ += interval_;
        if (due_ <= now) due_ += interval_ * ((now - due_) / interval_ + 1);
        arm();
    }
    firing_ = true;
    block_(*this);
    firing_ = false;
    if (repeats_ == Repeats::no) valid_ = false;
    if (!valid_) block_ = nullptr;
}

void Timer::invalidate() {
    if (!valid_) return;
    valid_ = false;
    const std::shared_ptr<Timer> self = shared_from_this();
    if (pending_ != 0) loop_.cancel(pending_);
    pending_ = 0;
    if (!firing_) block_ = nullptr;
}

}  // namespace quorel
