// What both programs measure, so that they measure the same.
#pragma once

#include <fmt/format.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>

namespace quorel::bench {

class Playback {
public:
    Playback() : begin_(seconds()), processorBegin_(processorSeconds()) {}

    // Of any thread, at each picture that can be seen.
    void pictureShown(int width) {
        double none = -1;
        firstPicture_.compare_exchange_strong(none, seconds());
        width_ = width;
        ++pictures_;
    }
    bool hasPicture() const { return firstPicture_ >= 0; }
    // Since the first picture.
    double played() const { return hasPicture() ? seconds() - firstPicture_ : 0; }

    // `backend` in seconds: how long the first picture had to wait for calls that the other program does not make.
    void report(double backend) const {
        fmt::print(
            "{{\"picture\": {:.6f}, \"backend\": {:.6f}, \"processor\": {:.6f}, \"width\": {}, "
            "\"pictures\": {}}}\n",
            firstPicture_ - begin_, backend, processorSeconds() - processorBegin_, width_.load(),
            pictures_.load());
    }

    static double seconds() {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }

private:
    static double processorSeconds() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        const auto sum = [](const timeval& time) {
            return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
        };
        return sum(usage.ru_utime) + sum(usage.ru_stime);
    }

    const double begin_;
    const double processorBegin_;
    std::atomic<double> firstPicture_ = -1;
    std::atomic<int> width_ = 0;
    std::atomic<int> pictures_ = 0;
};

}  // namespace quorel::bench
