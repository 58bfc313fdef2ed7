// Private to this room. Threads for functions that block: as many as there are functions at once, kept for a while for
// the next ones.
//
// Any thread. No destructor waits for a function: the threads own what they share.
#pragma once

#include <functional>
#include <memory>

namespace quorel::http {

class ConnectionThreads {
public:
    ConnectionThreads();
    ~ConnectionThreads();  // closes
    ConnectionThreads(const ConnectionThreads&) = delete;
    ConnectionThreads& operator=(const ConnectionThreads&) = delete;

    // Gives false when the system has no more threads; the function is then dropped.
    bool run(std::function<void()> function);
    // Keeps no idle threads from now on: they end at once, the others when their function returns. Functions that have
    // not begun are run.
    void close();

private:
    class Pool;

    std::shared_ptr<Pool> pool_;
};

}  // namespace quorel::http
