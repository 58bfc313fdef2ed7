// The SDK's loop inside a loop of somebody else's that waits for file descriptors: GLib, libuv, epoll, poll(2).
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

#include "quorel/foundation/run_loop.h"

namespace cookbook {

// [foreign-loop]
// The foreign loop watches descriptor() for input, waits no longer than timeout(), and then calls dispatch().
class PollRunLoop final : public quorel::RunLoop {
public:
    PollRunLoop() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
    ~PollRunLoop() override { close(descriptor_); }

    int descriptor() const { return descriptor_; }
    // Milliseconds, as poll(2) takes them; -1 while nothing waits.
    int timeout() const {
        const std::lock_guard lock(mutex_);
        if (queue_.empty()) return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(queue_.nextDue() - now());
        return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
    }
    // Runs what is due now. What that posts is run by the next call.
    void dispatch() {
        std::uint64_t wakes;
        while (read(descriptor_, &wakes, sizeof wakes) > 0) continue;
        const quorel::Duration until = now();
        for (;;) {
            std::unique_lock lock(mutex_);
            const auto function = queue_.takeDue(until);
            lock.unlock();
            if (!function) return;
            function();
        }
    }

    void post(std::function<void()> function) override { schedule(quorel::Duration(0), std::move(function)); }
    TimerId schedule(quorel::Duration delay, std::function<void()> function) override {
        const std::unique_lock lock(mutex_);
        const TimerId id = queue_.add(now() + std::max(delay, quorel::Duration(0)), std::move(function));
        const std::uint64_t one = 1;  // wakes the foreign loop, so that it asks for the timeout anew
        if (write(descriptor_, &one, sizeof one) < 0) return id;
        return id;
    }
    void cancel(TimerId id) override {
        std::function<void()> removed;  // destroyed where no lock is held
        const std::lock_guard lock(mutex_);
        removed = queue_.remove(id);
    }
    bool isCurrent() const override { return std::this_thread::get_id() == thread_; }
    quorel::Duration now() const override { return std::chrono::steady_clock::now().time_since_epoch(); }
    double secondsSince1970() const override {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }

private:
    const int descriptor_;
    const std::thread::id thread_ = std::this_thread::get_id();  // make it on the foreign loop's thread
    mutable std::mutex mutex_;
    quorel::TimerQueue queue_;
};
// [/foreign-loop]

}  // namespace cookbook
