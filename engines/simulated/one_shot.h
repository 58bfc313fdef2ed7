// Private to this room. A timer of the run loop that can be started again, halted, and dies with its owner.
#pragma once

#include <functional>
#include <utility>

#include "quorel/foundation/run_loop.h"

namespace quorel::simulated {

class OneShot {
public:
    explicit OneShot(RunLoop& loop) : loop_(loop) {}
    ~OneShot() { cancel(); }
    OneShot(const OneShot&) = delete;
    OneShot& operator=(const OneShot&) = delete;

    // Replaces what was started before. `function` may start, cancel or destroy the timer.
    void start(Duration delay, std::function<void()> function) {
        cancel();
        function_ = std::move(function);
        left_ = delay;
        proceed();
    }
    void start(double seconds, std::function<void()> function) {
        start(durationFromSeconds(seconds > 0 ? seconds : 0), std::move(function));
    }
    void cancel() {
        halt();
        function_ = nullptr;
    }
    // Stands still with what is left of its time, until proceed().
    void halt() {
        if (id_ == 0) return;
        loop_.cancel(id_);
        id_ = 0;
        left_ = due_ - loop_.now();
    }
    void proceed() {
        if (id_ != 0 || !function_) return;
        due_ = loop_.now() + left_;
        id_ = loop_.schedule(left_, [this] {
            id_ = 0;
            const auto function = std::exchange(function_, nullptr);
            function();
        });
    }
    bool pending() const { return function_ != nullptr; }
    Duration due() const { return due_; }

private:
    RunLoop& loop_;
    RunLoop::TimerId id_ = 0;
    Duration due_{0};
    Duration left_{0};
    std::function<void()> function_;
};

}  // namespace quorel::simulated
