// Private to this tool. Ends the process, with the names of its threads, when the main loop stands still for a minute.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace quorel::soak {

class Watchdog {
public:
    Watchdog();
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    void beat() { ++beats_; }  // the loop goes on; any thread

private:
    void watch();

    std::atomic<std::uint64_t> beats_{0};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace quorel::soak
