#include "quorel/httpserver/connection_threads.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

namespace quorel::http {

class ConnectionThreads::Pool : public std::enable_shared_from_this<Pool> {
public:
    bool run(std::function<void()> function) {
        std::unique_lock lock(mutex_);
        functions_.push_back(std::move(function));
        if (idle_ > 0) wake_.notify_one();
        // One new thread at a time, which starts the next: the caller accepts connections and must not be held.
        if (starting_ == 0) startThreadIfNeeded();
        // The first thread is the accept loop's, which never takes another function: what only it is there for would
        // wait for good.
        if (starting_ > 0 || idle_ > 0 || threads_ > 1) return true;
        const std::function<void()> refused = std::move(functions_.back());
        functions_.pop_back();
        lock.unlock();
        return false;
    }

    void close() {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        wake_.notify_all();
    }

private:
    // With the mutex held. Where the system refuses, what waits is left to the threads there are.
    void startThreadIfNeeded() {
        if (functions_.size() <= idle_ + starting_) return;
        try {
            std::thread([pool = shared_from_this()] { pool->work(); }).detach();
            ++starting_;
            ++threads_;
        } catch (const std::system_error&) {
        } catch (const std::bad_alloc&) {
        }
    }

    void work() {
        constexpr std::chrono::seconds patience(5);
        pthread_setname_np(pthread_self(), "quorel-http");
        std::unique_lock lock(mutex_);
        --starting_;
        while (true) {
            if (functions_.empty()) {
                ++idle_;
                const bool called =
                    wake_.wait_for(lock, patience, [this] { return !functions_.empty() || closed_; });
                --idle_;
                if (!called || functions_.empty()) break;
            }
            std::function<void()> function = std::move(functions_.front());
            functions_.pop_front();
            if (starting_ == 0) startThreadIfNeeded();
            lock.unlock();
            function();
            function = nullptr;
            lock.lock();
        }
        --threads_;
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> functions_;
    std::size_t idle_ = 0;
    std::size_t starting_ = 0;
    std::size_t threads_ = 0;
    bool closed_ = false;
};

ConnectionThreads::ConnectionThreads() : pool_(std::make_shared<Pool>()) {}

ConnectionThreads::~ConnectionThreads() {
    close();
}

void ConnectionThreads::close() {
    pool_->close();
}

bool ConnectionThreads::run(std::function<void()> function) {
    return pool_->run(std::move(function));
}

}  // namespace quorel::http
