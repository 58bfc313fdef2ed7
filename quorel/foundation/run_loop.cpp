#include "quorel/foundation/run_loop.h"

#include <cmath>
#include <utility>

#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

Duration steadyNow() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

// What never ran is destroyed while the loop is still whole, since destructors may post or cancel again.
void dropAll(std::mutex& mutex, std::deque<std::function<void()>>& posted, TimerQueue& timers) {
    while (true) {
        std::deque<std::function<void()>> functions;
        std::vector<std::function<void()>> scheduled;
        std::lock_guard lock(mutex);
        if (posted.empty() && timers.empty()) return;
        std::swap(functions, posted);
        scheduled = timers.takeAll();
    }
}

}  // namespace

Duration durationFromSeconds(double seconds) {
    constexpr double limit = 9.0e9;  // 285 years, within 64-bit nanoseconds
    if (std::isnan(seconds)) return Duration(0);
    if (seconds > limit) seconds = limit;
    if (seconds < -limit) seconds = -limit;
    return Duration(std::llround(seconds * 1e9));
}

double secondsFromDuration(Duration duration) {
    return static_cast<double>(duration.count()) / 1e9;
}

RunLoop::TimerId TimerQueue::add(Duration due, std::function<void()> function) {
    const RunLoop::TimerId id = ++lastId_;
    byTime_.emplace(Key{due, id}, std::move(function));
    dueById_.emplace(id, due);
    return id;
}

std::function<void()> TimerQueue::remove(RunLoop::TimerId id) {
    const auto found = dueById_.find(id);
    if (found == dueById_.end()) return {};
    auto node = byTime_.extract(Key{found->second, id});
    dueById_.erase(found);
    return std::move(node.mapped());
}

std::function<void()> TimerQueue::takeDue(Duration now) {
    if (byTime_.empty() || byTime_.begin()->first.first > now) return {};
    auto node = byTime_.extract(byTime_.begin());
    dueById_.erase(node.key().second);
    return std::move(node.mapped());
}

std::vector<std::function<void()>> TimerQueue::takeAll() {
    std::vector<std::function<void()>> all;
    all.reserve(byTime_.size());
    for (auto& [key, function] : byTime_) all.push_back(std::move(function));
    byTime_.clear();
    dueById_.clear();
    return all;
}

RealRunLoop::RealRunLoop() : thread_(std::this_thread::get_id()) {}
RealRunLoop::~RealRunLoop() {
    clear();
}

void RealRunLoop::clear() {
    dropAll(mutex_, posted_, timers_);
}

// The loop's thread, for as long as it runs. A function of the loop's may throw out of it, while the lock is open.
struct RealRunLoop::Turns {
    explicit Turns(RealRunLoop& runLoop) : loop(runLoop), lock(runLoop.mutex_) {
        const auto here = std::this_thread::get_id();
        if (loop.running_ > 0 && loop.thread_ != here) fatal("this run loop is running on another thread already");
        loop.thread_ = here;
        ++loop.running_;
    }
    ~Turns() {
        if (!lock.owns_lock()) lock.lock();
        --loop.running_;
    }
    Turns(const Turns&) = delete;
    Turns& operator=(const Turns&) = delete;

    RealRunLoop& loop;
    std::unique_lock<std::mutex> lock;
};

void RealRunLoop::run() {
    Turns turns(*this);
    std::unique_lock<std::mutex>& lock = turns.lock;
    while (!stopping_) turn(lock, nullptr);
    stopping_ = false;
}

bool RealRunLoop::runUntil(const std::function<bool()>& done, Duration limit) {
    const Duration until = steadyNow() + limit;
    if (done()) return true;
    Turns turns(*this);
    std::unique_lock<std::mutex>& lock = turns.lock;
    bool result = false;
    while (!stopping_) {
        const bool ran = turn(lock, &until);
        lock.unlock();
        result = done();
        lock.lock();
        if (result || (!ran && steadyNow() >= until)) break;
    }
    stopping_ = false;
    return result;
}

// Runs one function, or waits for one to come. True when a function ran.
bool RealRunLoop::turn(std::unique_lock<std::mutex>& lock, const Duration* until) {
    std::function<void()> function = timers_.takeDue(steadyNow());
    if (!function && !posted_.empty()) {
        function = std::move(posted_.front());
        posted_.pop_front();
    }
    if (function) {
        lock.unlock();
        function();
        function = nullptr;
        lock.lock();
        return true;
    }
    if (timers_.empty() && until == nullptr) {
        wake_.wait(lock);
        return false;
    }
    Duration next = timers_.empty() ? *until : timers_.nextDue();
    if (until != nullptr && *until < next) next = *until;
    wake_.wait_until(lock, std::chrono::steady_clock::time_point(next));
    return false;
}

void RealRunLoop::stop() {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    wake_.notify_all();
}

void RealRunLoop::post(std::function<void()> function) {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(function));
    wake_.notify_all();
}

bool RealRunLoop::isCurrent() const {
    std::lock_guard lock(mutex_);
    return thread_ == std::this_thread::get_id();
}

RunLoop::TimerId RealRunLoop::schedule(Duration delay, std::function<void()> function) {
    std::lock_guard lock(mutex_);
    const TimerId id = timers_.add(steadyNow() + delay, std::move(function));
    wake_.notify_all();
    return id;
}

void RealRunLoop::cancel(TimerId id) {
    std::function<void()> dropped;
    std::lock_guard lock(mutex_);
    dropped = timers_.remove(id);
}

Duration RealRunLoop::now() const {
    return steadyNow();
}

double RealRunLoop::secondsSince1970() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

ManualRunLoop::ManualRunLoop(double secondsSince1970AtStart)
    : start1970_(secondsSince1970AtStart), thread_(std::this_thread::get_id()) {}
ManualRunLoop::~ManualRunLoop() {
    dropAll(mutex_, posted_, timers_);
}

bool ManualRunLoop::runOne() {
    std::function<void()> function;
    {
        std::lock_guard lock(mutex_);
        function = timers_.takeDue(now_);
        if (!function && !posted_.empty()) {
            function = std::move(posted_.front());
            posted_.pop_front();
        }
    }
    if (!function) return false;
    function();
    return true;
}

void ManualRunLoop::drain() {
    while (runOne()) {
    }
}

void ManualRunLoop::advance(Duration by) {
    const Duration target = now() + by;
    drain();
    while (true) {
        {
            std::lock_guard lock(mutex_);
            if (timers_.empty() || timers_.nextDue() > target) {
                now_ = target;
                break;
            }
            if (timers_.nextDue() > now_) now_ = timers_.nextDue();
        }
        drain();
    }
    drain();
}

bool ManualRunLoop::drainUntil(const std::function<bool()>& done, Duration limit) {
    const auto until = std::chrono::steady_clock::now() + limit;
    while (true) {
        drain();
        if (done()) return true;
        std::unique_lock lock(mutex_);
        if (!posted_.empty()) continue;
        if (std::chrono::steady_clock::now() >= until) return false;
        // Work that finishes on another thread need not post to this loop, so look again now and then.
        wake_.wait_for(lock, std::chrono::milliseconds(5));
    }
}

void ManualRunLoop::post(std::function<void()> function) {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(function));
    wake_.notify_all();
}

bool ManualRunLoop::isCurrent() const {
    return thread_ == std::this_thread::get_id();
}

RunLoop::TimerId ManualRunLoop::schedule(Duration delay, std::function<void()> function) {
    std::lock_guard lock(mutex_);
    const TimerId id = timers_.add(now_ + delay, std::move(function));
    wake_.notify_all();
    return id;
}

void ManualRunLoop::cancel(TimerId id) {
    std::function<void()> dropped;
    std::lock_guard lock(mutex_);
    dropped = timers_.remove(id);
}

Duration ManualRunLoop::now() const {
    std::lock_guard lock(mutex_);
    return now_;
}

double ManualRunLoop::secondsSince1970() const {
    return start1970_ + secondsFromDuration(now());
}

std::size_t ManualRunLoop::pendingTimers() const {
    std::lock_guard lock(mutex_);
    return timers_.size();
}

}  // namespace quorel
