// Seeks, and changes of the rate, which are seeks to the place where playback is: a flush is the only way to change
// the rate of an adaptive stream.
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "engines/gstreamer/pipeline.h"

namespace quorel::gstreamer {
namespace {

// How long a viewer may wait longer, for a reply that is on its way.
constexpr std::chrono::milliseconds seekPatience{100};

}  // namespace

void Pipeline::seek(std::uint64_t seek, double time) {
    if (playbin_ == nullptr) return;
    if (held_) {
        // Loading has ended, so nothing would come from the new place.
        fail(*std::exchange(held_, std::nullopt));
        return;
    }
    wanted_ = Target{seek, time};
    if (!prerolled_) {
        frames_->setHold(session_, time > 0);
    } else if (!inFlight_) {
        startSeek();
    }
}

void Pipeline::setRate(double rate) {
    rate_ = rate;
    if (playbin_ == nullptr || !prerolled_ || ended_ || held_) return;
    if (!wanted_) wanted_ = Target{};
    if (!inFlight_) startSeek();
}

GstClockTime Pipeline::clampToSource(double time) const {
    double first = 0;
    double last = 9e18;  // what a signed 64-bit time can hold
    GstQuery* const query = gst_query_new_seeking(GST_FORMAT_TIME);
    if (gst_element_query(playbin_, query)) {
        gint64 start = -1;
        gint64 stop = -1;
        gst_query_parse_seeking(query, nullptr, nullptr, &start, &stop);
        if (start >= 0) first = static_cast<double>(start);
        if (stop > start) last = static_cast<double>(stop);
    }
    gst_query_unref(query);
    // What is refused begins anew at 0, and loads, before it is sought in once more.
    constexpr double beforeTheEnd = 0.05 * GST_SECOND;
    if (guard_->isAdaptive() && last - first > beforeTheEnd) last -= beforeTheEnd;
    const double wanted = (time + static_cast<double>(origin_) / GST_SECOND) * GST_SECOND;
    return static_cast<GstClockTime>(std::llround(std::clamp(wanted, first, last)));
}

void Pipeline::startSeek() {
    inFlight_ = *std::exchange(wanted_, std::nullopt);
    frames_->setHold(session_, false);
    const GstClockTime to = inFlight_->time ? clampToSource(*inFlight_->time) : restingAt_.value_or(0);
    // A player that is asked twice for its start time, as metadata and picture come, would load everything twice.
    if (restingAt_ && std::max(to, *restingAt_) - std::min(to, *restingAt_) < GST_MSECOND && rateInUse_ == rate_ &&
        !ended_) {
        onSeekDone();
        return;
    }
    seekSentAt_ = Clock::now();
    noteProgress();
    if (const auto position = streamPosition(); position && !restingAt_) lastPosition_ = *position;
    restingAt_.reset();
    ended_ = markReached_ = wasFed_ = false;
    updateTicks();
    applyState();
    guard_->refuseData();
    sendWhenQuiet();
}

void Pipeline::sendWhenQuiet() {
    if (guard_->becameQuiet(seekPatience)) {
        stop(seekWait_);
        sendSeek();
    } else if (seekWait_ == nullptr) {
        seekWait_ = attachTimer(DownloadGuard::pollInterval, &Pipeline::sendWhenQuiet);
    }
}

void Pipeline::sendSeek() {
    if (wanted_) inFlight_ = *std::exchange(wanted_, std::nullopt);
    const GstClockTime to = inFlight_->time ? clampToSource(*inFlight_->time) : lastPosition_;
    markSeek();
    // The playlist's duration may promise a little more than the segments hold, and hlsdemux2 refuses what is past
    // their end: by then it has flushed, and would begin again at 0.
    static constexpr std::array<double, 6> stepsBack{0, 0.05, 0.2, 0.5, 1, 2};
    const bool sent = std::any_of(stepsBack.begin(), stepsBack.end(), [&](double back) {
        const auto earlier = static_cast<GstClockTime>(back * GST_SECOND);
        return trySeek(to > earlier ? to - earlier : 0, GST_SEEK_FLAG_ACCURATE);
    });
    // A live window may have moved past the place; without that flag the demuxer takes the nearest it still has.
    if (!sent) trySeek(to, GST_SEEK_FLAG_NONE);
    guard_->acceptData();
    rateInUse_ = rate_;
    if (isSettled()) onSeekDone();
}

bool Pipeline::trySeek(GstClockTime to, GstSeekFlags precision) {
    const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | precision);
    const bool sent = guard_->send(playbin_, gst_event_new_seek(rate_, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                                                                static_cast<gint64>(to), GST_SEEK_TYPE_NONE, -1));
    if (sent) {
        lastPosition_ = to;
        sought_ = true;
    }
    return sent;
}

bool Pipeline::isSettled() const {
    return gst_element_get_state(playbin_, nullptr, nullptr, 0) != GST_STATE_CHANGE_ASYNC;
}

void Pipeline::onSeekDone() {
    const Target done = *std::exchange(inFlight_, std::nullopt);
    noteProgress();
    movedAt_ = progressAt_;
    if (wanted_) {
        startSeek();
        return;
    }
    if (!restingAt_) restingAt_ = streamPosition().value_or(lastPosition_);
    if (done.seek != 0) {
        lastSeek_ = done.seek;
        report(SeekDone{done.seek, playerTime(*restingAt_)});
    }
    reportFed();
    updateTicks();
    applyState();
}

}  // namespace quorel::gstreamer
