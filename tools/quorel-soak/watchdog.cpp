#include "tools/quorel-soak/watchdog.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>

#include "tools/quorel-soak/vitals.h"

namespace quorel::soak {

using namespace std::chrono_literals;

Watchdog::Watchdog() : thread_([this] { watch(); }) {}

Watchdog::~Watchdog() {
    done_ = true;
    thread_.join();
}

void Watchdog::watch() {
    auto since = std::chrono::steady_clock::now();
    for (std::uint64_t seen = 0; !done_; std::this_thread::sleep_for(100ms)) {
        const auto now = std::chrono::steady_clock::now();
        if (const auto beats = beats_.load(); beats != seen) {
            seen = beats;
            since = now;
        }
        if (now - since < 60s) continue;
        fmt::print(stderr, "quorel-soak: the main thread stands still; threads: {}\n", threadNames());
        std::abort();
    }
}

}  // namespace quorel::soak
