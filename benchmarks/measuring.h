// How the benchmarks measure and report.
#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace quorel::bench {

// Processor time of this thread, the system's share included, so that other programs do not count.
inline double now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The fastest of several rounds, in seconds: what else the machine does only ever adds. `action` gives a number, so
// that nothing of it is optimised away.
template <class Action>
double seconds(Action action, int rounds = 15) {
    static volatile std::size_t sink;
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const double begin = now();
        sink = sink + static_cast<std::size_t>(action());
        best = std::min(best, now() - begin);
    }
    return best;
}

template <class Action>
double megabytesPerSecond(std::size_t bytes, Action action, int rounds = 9) {
    return static_cast<double>(bytes) / seconds(action, rounds) / 1e6;
}

// One figure, as a line of JSON for table.py.
inline void report(const char* task, const char* unit, const char* who, double value) {
    std::printf("{\"task\":\"%s\",\"unit\":\"%s\",\"who\":\"%s\",\"value\":%.6g}\n", task, unit, who, value);
    std::fflush(stdout);
}

}  // namespace quorel::bench
