// The main thread's loop: posted functions and timers, on a real clock or on a virtual one.
//
// The player core, the presentation and the telemetry live on one run loop and take no lock. A host either runs
// a RealRunLoop, or adapts its own toolkit's loop to this interface. Tests drive a ManualRunLoop, whose time
// moves only when they say so:
//
//   ManualRunLoop loop;
//   loop.schedule(10s, [&] { polls++; });
//   loop.advance(10s);                       // the timer fires, nothing slept
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "quorel/foundation/executor.h"
#include "quorel/foundation/export.h"

namespace quorel {

using Duration = std::chrono::nanoseconds;

// Seconds, as the SDK's interfaces speak of time, to the loop's resolution. Not finite or out of range: clamped.
QUOREL_FOUNDATION_API Duration durationFromSeconds(double seconds);
QUOREL_FOUNDATION_API double secondsFromDuration(Duration duration);

class QUOREL_VISIBLE RunLoop : public Executor {
public:
    using TimerId = std::uint64_t;  // never 0

    // Runs `function` once, `delay` from now (at the next turn for a delay of 0 or less). Any thread.
    // Timers that are due at the same moment fire in the order in which they were scheduled.
    virtual TimerId schedule(Duration delay, std::function<void()> function) = 0;

    // Forgets a timer; nothing happens for one that has fired or is unknown. Any thread; called on the loop's
    // thread it guarantees that the function does not run any more.
    virtual void cancel(TimerId id) = 0;

    // Monotonic time since an arbitrary start. Any thread.
    virtual Duration now() const = 0;

    // Wall-clock time in seconds since 1970-01-01T00:00:00Z. Any thread.
    virtual double secondsSince1970() const = 0;
};

// Functions and timers in one queue ordered by time; what both loops below are made of.
class QUOREL_FOUNDATION_API TimerQueue {
public:
    // Functions that are due at the same moment keep the order in which they were added.
    RunLoop::TimerId add(Duration due, std::function<void()> function);
    // Gives the removed function, so that the caller destroys it where no lock is held.
    std::function<void()> remove(RunLoop::TimerId id);
    bool empty() const { return byTime_.empty(); }
    std::size_t size() const { return byTime_.size(); }
    Duration nextDue() const { return byTime_.begin()->first.first; }
    // Takes out the first function that is due at `now` or earlier; an empty function when there is none.
    std::function<void()> takeDue(Duration now);
    std::vector<std::function<void()>> takeAll();  // the ids go on as before

private:
    using Key = std::pair<Duration, RunLoop::TimerId>;
    std::map<Key, std::function<void()>> byTime_;
    std::unordered_map<RunLoop::TimerId, Duration> dueById_;
    RunLoop::TimerId lastId_ = 0;
};

// A loop on the thread that runs it, on the system's monotonic clock.
class QUOREL_FOUNDATION_API RealRunLoop final : public RunLoop {
public:
    RealRunLoop();
    ~RealRunLoop() override;

    // Runs until stop() is called. The calling thread becomes the loop's thread while it runs. A function that the loop
    // runs may run it once more, inside; another thread may not meanwhile, and stops the process.
    void run();
    // Runs until `done` gives true (asked after each turn) or `limit` has passed; gives what `done` gave last.
    bool runUntil(const std::function<bool()>& done, Duration limit);
    // Ends run() or runUntil() after the function that is running. Any thread, also before run(), which then
    // returns at once.
    void stop();
    // Drops what is posted and scheduled, and what that posts in turn. For the end of an application: a countdown keeps its
    // player, which keeps the loop, which keeps the countdown. Any thread.
    void clear();

    void post(std::function<void()> function) override;
    bool isCurrent() const override;
    TimerId schedule(Duration delay, std::function<void()> function) override;
    void cancel(TimerId id) override;
    Duration now() const override;
    double secondsSince1970() const override;

private:
    struct Turns;
    bool turn(std::unique_lock<std::mutex>& lock, const Duration* until);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> posted_;
    TimerQueue timers_;
    bool stopping_ = false;
    int running_ = 0;  // how often, one inside the other
    std::thread::id thread_;
};

// A loop whose time is a number: it moves in advance() only. post() and schedule() may be called from any
// thread; everything else belongs to the thread that owns the loop, which is the one that made it.
class QUOREL_FOUNDATION_API ManualRunLoop final : public RunLoop {
public:
    // now() begins at 0, the wall clock at the given second.
    explicit ManualRunLoop(double secondsSince1970AtStart = 1'700'000'000.0);
    ~ManualRunLoop() override;

    // Runs what is posted and what is due now, including what that posts, until nothing is left.
    void drain();
    // Moves the time by `by`, firing each timer at its own moment, in order.
    void advance(Duration by);
    // Drains on real time until `done` gives true, for work that comes back from other threads; false after
    // `limit` of real time. The virtual time does not move.
    bool drainUntil(const std::function<bool()>& done, Duration limit = std::chrono::seconds(30));

    void post(std::function<void()> function) override;
    bool isCurrent() const override;
    TimerId schedule(Duration delay, std::function<void()> function) override;
    void cancel(TimerId id) override;
    Duration now() const override;
    double secondsSince1970() const override;

    // How many timers wait; a test asks this to see that nothing was left behind.
    std::size_t pendingTimers() const;

private:
    bool runOne();

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> posted_;
    TimerQueue timers_;
    Duration now_{0};
    double start1970_;
    std::thread::id thread_;
};

}  // namespace quorel
