// One-shot and repeating timers on a run loop.
//
//   auto poll = Timer::scheduled(loop, 10.0, Timer::Repeats::yes, [](Timer&) { ... });
//   poll->invalidate();
//
// A timer that is scheduled lives until it is invalidated or, one-shot, has fired, also when nobody holds it:
// the run loop keeps it. A repeating timer keeps its rhythm: it fires at start + n * interval, and a loop that
// was blocked past several of them fires once. All of it belongs to the run loop's thread.
#pragma once

#include <functional>
#include <memory>

#include "quorel/foundation/export.h"
#include "quorel/foundation/run_loop.h"

namespace quorel {

class QUOREL_FOUNDATION_API Timer : public std::enable_shared_from_this<Timer> {
public:
    // One firing, or one after each interval.
    enum class Repeats { no, yes };
    using Block = std::function<void(Timer&)>;

    // `interval` in seconds; 0 or less counts as 0.1 ms. The run loop must outlive the timer's schedule.
    static std::shared_ptr<Timer> scheduled(RunLoop& loop, double interval, Repeats repeats, Block block);

    // Calls `method` on `target` for as long as it lives; the timer does not keep it alive and invalidates
    // itself at the first firing that finds it gone.
    template <class T>
    static std::shared_ptr<Timer> scheduledWeak(RunLoop& loop, double interval, Repeats repeats,
                                                std::weak_ptr<T> target, void (T::*method)()) {
        return scheduled(loop, interval, repeats, [target = std::move(target), method](Timer& timer) {
            if (const std::shared_ptr<T> alive = target.lock()) {
                ((*alive).*method)();
            } else {
                timer.invalidate();
            }
        });
    }

    // Never fires again. The block, and with it what it holds, is released. May be called from the block.
    void invalidate();
    bool isValid() const { return valid_; }
    double interval() const { return secondsFromDuration(interval_); }

    // For scheduled(), which makes them.
    Timer(RunLoop& loop, Duration interval, Repeats repeats, Block block);
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

private:
    void arm();
    void fire();

    RunLoop& loop_;
    Duration interval_;
    Repeats repeats_;
    Block block_;
    Duration due_;
    RunLoop::TimerId pending_ = 0;
    bool valid_ = true;
    bool firing_ = false;
};

}  // namespace quorel
