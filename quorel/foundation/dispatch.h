// Executors off the main thread: a serial queue and a pool of background threads.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quorel/foundation/executor.h"
#include "quorel/foundation/export.h"

namespace quorel {

// Runs functions one after the other, in the order of their posting, on a thread of its own that starts with
// the first function.
class QUOREL_FOUNDATION_API SerialQueue final : public Executor {
public:
    // The label is for people.
    explicit SerialQueue(std::string label);
    // Waits for the function that is running and drops the rest. Must not be destroyed from its own thread.
    ~SerialQueue() override;

    void post(std::function<void()> function) override;
    bool isCurrent() const override;

    // Runs `function` on the queue and waits for it. Called from the queue itself it runs at once.
    void sync(const std::function<void()>& function);

    const std::string& label() const { return label_; }

private:
    void work();

    const std::string label_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> functions_;
    std::thread thread_;
    bool stopping_ = false;
};

// A few threads that share one queue; for decoding and other work that must not hold the main thread.
class QUOREL_FOUNDATION_API BackgroundExecutor final : public Executor {
public:
    // `threads` of at least 1. One starts at once, the others when they are needed, if the system gives them. Throws
    // std::system_error when it does not give the first.
    explicit BackgroundExecutor(unsigned threads = 2);
    // Waits for the functions that are running and drops the rest.
    ~BackgroundExecutor() override;

    void post(std::function<void()> function) override;
    bool isCurrent() const override;

private:
    void work();

    const unsigned limit_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> functions_;
    std::vector<std::thread> threads_;
    unsigned idle_ = 0;
    bool stopping_ = false;
};

}  // namespace quorel
