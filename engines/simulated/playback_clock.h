// Private to this room. The position of a presentation that moves with the run loop's clock, times a rate.
#pragma once

#include <cmath>

#include "quorel/foundation/run_loop.h"

namespace quorel::simulated {

class PlaybackClock {
public:
    explicit PlaybackClock(const RunLoop& loop) : loop_(loop) {}

    double position() const {
        return running_ ? anchor_ + rate_ * secondsFromDuration(loop_.now() - anchoredAt_) : anchor_;
    }
    void setPosition(double position) {
        anchor_ = position;
        anchoredAt_ = loop_.now();
    }
    bool running() const { return running_; }
    void start() {
        anchoredAt_ = loop_.now();
        running_ = true;
    }
    void stop() {
        anchor_ = position();
        running_ = false;
    }
    double rate() const { return rate_; }
    void setRate(double rate) {
        setPosition(position());
        rate_ = rate;
    }
    // How long it takes to get there; rounded up, so that it is not too early by a nanosecond.
    Duration timeUntil(double position) const {
        const double seconds = (position - this->position()) / rate_;
        return seconds > 0 ? durationFromSeconds(std::ceil(seconds * 1e9) / 1e9) : Duration(0);
    }

private:
    const RunLoop& loop_;
    double anchor_ = 0;
    Duration anchoredAt_{0};
    double rate_ = 1;
    bool running_ = false;
};

}  // namespace quorel::simulated
