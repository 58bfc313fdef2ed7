#include "engines/gstreamer/engine_thread.h"

#include <algorithm>
#include <utility>

namespace quorel::gstreamer {

EngineThread::EngineThread() : context_(g_main_context_new()), loop_(g_main_loop_new(context_, FALSE)) {}

EngineThread::~EngineThread() {
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
}

// The functions travel through a queue of our own, and GLib only wakes the loop: the hand-over is then visible to
// ThreadSanitizer, which knows std::mutex but not GLib's locks.
void EngineThread::post(std::function<void()> function) {
    {
        const std::lock_guard lock(mutex_);
        if (finished_) return;
        posted_.push_back(std::move(function));
        if (std::exchange(wakeUpPending_, true)) return;
    }
    GSource* const wakeUp = g_idle_source_new();
    g_source_set_priority(wakeUp, G_PRIORITY_DEFAULT);
    g_source_set_callback(
        wakeUp,
        [](gpointer self) -> gboolean {
            static_cast<EngineThread*>(self)->runPosted();
            return G_SOURCE_REMOVE;
        },
        this, nullptr);
    g_source_attach(wakeUp, context_);
    g_source_unref(wakeUp);
}

void EngineThread::runPosted() {
    std::unique_lock lock(mutex_);
    wakeUpPending_ = false;
    std::deque<std::function<void()>> due = std::exchange(posted_, {});
    lock.unlock();
    for (auto& function : due) {
        function();
        function = nullptr;
    }
}

void EngineThread::run() {
    g_main_context_push_thread_default(context_);
    g_main_loop_run(loop_);
    g_main_context_pop_thread_default(context_);
}

void EngineThread::finish() {
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard lock(mutex_);
        finished_ = true;
        dropped = std::exchange(posted_, {});
    }
    g_main_loop_quit(loop_);
}

std::shared_ptr<EngineThread> ThreadPark::start() {
    auto engineThread = std::make_shared<EngineThread>();
    run([engineThread] { engineThread->run(); });
    return engineThread;
}

void ThreadPark::run(std::function<void()> function) {
    auto over = std::make_shared<std::atomic<bool>>(false);
    const std::lock_guard lock(mutex_);
    std::erase_if(places_, [](Place& place) {
        if (!place.over->load()) return false;
        place.thread.join();
        return true;
    });
    std::thread thread([function = std::move(function), over]() mutable {
        function();
        function = nullptr;
        over->store(true);
    });
    places_.push_back({std::move(thread), std::move(over)});
}

std::size_t ThreadPark::running() const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(places_.begin(), places_.end(), [](const Place& place) { return !place.over->load(); }));
}

ThreadPark::~ThreadPark() {
    for (;;) {
        std::list<Place> next;
        {
            const std::lock_guard lock(mutex_);
            if (places_.empty()) return;
            next.splice(next.begin(), places_, places_.begin());
        }
        next.front().thread.join();
    }
}

}  // namespace quorel::gstreamer
