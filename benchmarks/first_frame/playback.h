// What both programs tell run.py, so that it measures both in the same way: a line at the first picture of each stream,
// and one at the end, where the program stays as it is until its input ends.
#pragma once

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <utility>

namespace quorel::bench {

inline double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// One stream, from its construction on.
class Playback {
public:
    // `backend` gives in seconds how long the first picture had to wait for calls that the other programs do not make.
    explicit Playback(std::function<double()> backend = {}) : backend_(std::move(backend)), begin_(seconds()) {}

    // Of any thread, at each picture that can be seen.
    void pictureShown(int width) {
        ++pictures_;
        double none = -1;
        const double now = seconds();
        if (!firstPicture_.compare_exchange_strong(none, now)) return;
        fmt::print("{{\"picture\": {:.6f}, \"backend\": {:.6f}, \"width\": {}}}\n", now - begin_,
                   backend_ ? backend_() : 0, width);
        std::fflush(stdout);
    }
    bool hasPlayed(double duration) const { return firstPicture_ >= 0 && seconds() - firstPicture_ >= duration; }
    int pictures() const { return pictures_; }

private:
    const std::function<double()> backend_;
    const double begin_;
    std::atomic<double> firstPicture_ = -1;
    std::atomic<int> pictures_ = 0;
};

// Nobody measures the end of the process, and not every loading thread of GStreamer survives it.
[[noreturn]] inline void stay(int pictures) {
    fmt::print("{{\"pictures\": {}}}\n", pictures);
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    std::_Exit(0);
}

}  // namespace quorel::bench
