#include "quorel/foundation/dispatch.h"

#include <system_error>
#include <utility>

#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

thread_local const Executor* currentExecutor = nullptr;

}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)) {}

SerialQueue::~SerialQueue() {
    if (isCurrent()) fatal("a serial queue was destroyed from its own thread");
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
    // Dropped while the queue is still whole, since destructors may post again.
    functions_.clear();
}

void SerialQueue::post(std::function<void()> function) {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    functions_.push_back(std::move(function));
    if (!thread_.joinable()) thread_ = std::thread([this] { work(); });
    wake_.notify_one();
}

bool SerialQueue::isCurrent() const {
    return currentExecutor == this;
}

void SerialQueue::sync(const std::function<void()>& function) {
    if (isCurrent()) {
        function();
        return;
    }
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    post([&] {
        function();
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_all();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

void SerialQueue::work() {
    currentExecutor = this;
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait(lock, [this] { return stopping_ || !functions_.empty(); });
        if (stopping_) return;
        std::function<void()> function = std::move(functions_.front());
        functions_.pop_front();
        lock.unlock();
        function();
        function = nullptr;
        lock.lock();
    }
}

// The first thread is made here, where a system that gives none can still be told of: a function that is posted is run.
BackgroundExecutor::BackgroundExecutor(unsigned threads) : limit_(threads == 0 ? 1 : threads) {
    threads_.emplace_back([this] { work(); });
}

BackgroundExecutor::~BackgroundExecutor() {
    if (isCurrent()) fatal("a background executor was destroyed from one of its own threads");
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_) thread.join();
    functions_.clear();
}

void BackgroundExecutor::post(std::function<void()> function) {
    std::lock_guard lock(mutex_);
    if (stopping_) return;
    functions_.push_back(std::move(function));
    if (idle_ < functions_.size() && threads_.size() < limit_) {
        try {
            threads_.emplace_back([this] { work(); });
        } catch (const std::system_error&) {
            // Those there are do it.
        }
    }
    wake_.notify_one();
}

bool BackgroundExecutor::isCurrent() const {
    return currentExecutor == this;
}

void BackgroundExecutor::work() {
    currentExecutor = this;
    std::unique_lock lock(mutex_);
    while (true) {
        idle_++;
        wake_.wait(lock, [this] { return stopping_ || !functions_.empty(); });
        idle_--;
        if (stopping_) return;
        std::function<void()> function = std::move(functions_.front());
        functions_.pop_front();
        lock.unlock();
        function();
        function = nullptr;
        lock.lock();
    }
}

}  // namespace quorel
