#include "hosts/qt/qt_run_loop.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimerEvent>
#include <algorithm>
#include <chrono>
#include <deque>
#include <utility>

namespace quorel::qt {

// Wakes up by one posted event or one timer at a time, whatever is waiting.
class QtRunLoop::Worker final : public QObject {
public:
    Duration now() const { return std::chrono::steady_clock::now().time_since_epoch(); }

    void post(std::function<void()> function) {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(function));
        wake();
    }
    TimerId schedule(Duration delay, std::function<void()> function) {
        const std::lock_guard lock(mutex_);
        const TimerId id = timers_.add(now() + delay, std::move(function));
        wake();
        return id;
    }
    void cancel(TimerId id) {
        std::function<void()> dropped;  // destroyed without the lock
        const std::lock_guard lock(mutex_);
        dropped = timers_.remove(id);
    }

    // What never ran goes while the loop is still whole, since destructors may post or cancel again.
    void dropAll() {
        while (true) {
            std::deque<std::function<void()>> functions;
            TimerQueue timers;
            const std::lock_guard lock(mutex_);
            if (posted_.empty() && timers_.empty()) return;
            std::swap(functions, posted_);
            std::swap(timers, timers_);
        }
    }

protected:
    bool event(QEvent* event) override {
        if (event->type() != QEvent::User && event->type() != QEvent::Timer) return QObject::event(event);
        run();
        return true;
    }

private:
    void wake() {
        if (std::exchange(awake_, true)) return;
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    // What is there now; what comes meanwhile has its turn after Qt's own events.
    void run() {
        std::unique_lock lock(mutex_);
        awake_ = false;
        std::size_t turns = posted_.size();
        const Duration begin = now();
        while (true) {
            std::function<void()> function = timers_.takeDue(begin);
            if (!function && turns > 0) {
                --turns;
                function = std::move(posted_.front());
                posted_.pop_front();
            }
            if (!function) break;
            lock.unlock();
            function();
            function = nullptr;
            lock.lock();
        }
        if (!posted_.empty()) wake();
        if (timer_ != 0) killTimer(std::exchange(timer_, 0));
        if (timers_.empty()) return;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(timers_.nextDue() - now());
        timer_ = startTimer(
            std::clamp<std::chrono::milliseconds>(wait, std::chrono::milliseconds(0), std::chrono::hours(24)),
            Qt::PreciseTimer);
    }

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    TimerQueue timers_;
    bool awake_ = false;
    int timer_ = 0;
};

QtRunLoop::QtRunLoop() : worker_(std::make_unique<Worker>()) {}
QtRunLoop::~QtRunLoop() {
    worker_->dropAll();
}

void QtRunLoop::post(std::function<void()> function) {
    worker_->post(std::move(function));
}

bool QtRunLoop::isCurrent() const {
    return worker_->thread() == QThread::currentThread();
}

RunLoop::TimerId QtRunLoop::schedule(Duration delay, std::function<void()> function) {
    return worker_->schedule(delay, std::move(function));
}

void QtRunLoop::cancel(TimerId id) {
    worker_->cancel(id);
}

Duration QtRunLoop::now() const {
    return worker_->now();
}

double QtRunLoop::secondsSince1970() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace quorel::qt
