// Private to this room. The thread on which a player's pipeline is driven, and the place where such threads end.
//
// One thread for each player, not one for all: a state change or a seek may block on the network's or a device's
// behalf, and must not stop the other players of the process.
#pragma once

#include <glib.h>

#include <atomic>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

namespace quorel::gstreamer {

// Functions run in the order of their posting, among the sources that are attached to context().
class EngineThread {
public:
    EngineThread();
    ~EngineThread();
    EngineThread(const EngineThread&) = delete;
    EngineThread& operator=(const EngineThread&) = delete;

    void post(std::function<void()> function);  // any thread; after finish() has run, dropped
    void run();                                 // until finish() runs
    void finish();                              // on the thread itself
    GMainContext* context() const { return context_; }

private:
    void runPosted();

    GMainContext* context_;
    GMainLoop* loop_;
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    bool wakeUpPending_ = false;
    bool finished_ = false;
};

// Owns the threads, so that none outlives it: the destructor waits for all. Any thread.
class ThreadPark {
public:
    ThreadPark() = default;
    ~ThreadPark();
    ThreadPark(const ThreadPark&) = delete;
    ThreadPark& operator=(const ThreadPark&) = delete;

    std::shared_ptr<EngineThread> start();
    void run(std::function<void()> function);  // on a thread of its own
    std::size_t running() const;

private:
    struct Place {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> over;
    };
    mutable std::mutex mutex_;
    std::list<Place> places_;
};

}  // namespace quorel::gstreamer
