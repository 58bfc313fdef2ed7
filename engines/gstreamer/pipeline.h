// Private to this room. One player's pipeline: GStreamer's side of the engine, driven on the player's EngineThread.
//
// A session is the life of one source. Each has a playbin3 of its own, so that nothing of one source can be told of
// the next; the old one is torn down before the new one is made.
#pragma once

#include <gst/gst.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/gstreamer/download_guard.h"
#include "engines/gstreamer/end_barrier.h"
#include "engines/gstreamer/engine_thread.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/playlist_gateway.h"
#include "engines/gstreamer/reports.h"
#include "engines/gstreamer/video_frames.h"

namespace quorel::gstreamer {

// All but expect() belongs to the thread.
class Pipeline {
public:
    // The park takes what is torn down. It and the gateway outlive the pipeline.
    Pipeline(GMainContext* context, ThreadPark& park, PlaylistGateway& gateway, const GStreamerOptions& options,
             std::shared_ptr<FrameStore> frames, Reporter reporter);
    ~Pipeline();
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;

    // Any thread: from now on only this session is wanted. A load() of another one that is still to come does
    // nothing, so that many sources in a row cost no more than the last one.
    void expect(std::uint64_t session) { expected_.store(session); }

    void load(std::uint64_t session, GatewaySource source);
    void unload();

    // Playing, not playing: `play` comes back with Running.
    void setPlaying(bool wanted, std::uint64_t play);
    // Where to; before the metadata it is where playback begins. A later one replaces one that is not done.
    void seek(std::uint64_t seek, double time);
    void setRate(double rate);
    void setVolume(double volume, bool muted);

private:
    using Clock = std::chrono::steady_clock;
    struct Target {
        std::uint64_t seek = 0;      // 0: nobody waits for it, it is for the rate
        std::optional<double> time;  // absent: where it is
    };

    void report(decltype(Report::what) what);
    bool isFed() const;
    void reportFed();
    std::optional<GstClockTime> streamPosition() const;
    double playerTime(GstClockTime streamTime) const;
    std::optional<double> queryDuration() const;

    // pipeline.cpp: sources and states
    void begin(GatewaySource source);
    bool tryAgain(const Failure& failure);
    void applyState();
    void onPrerolled();
    TimelineAnchor findOrigin(GstClockTime position);
    void onRunning();
    void onEnded();
    void noteProgress() { progressAt_ = Clock::now(); }
    GSource* attachTimer(std::chrono::milliseconds interval, void (Pipeline::*function)());
    static void stop(GSource*& source);
    void updateTicks();
    void tick();

    // pipeline_seeking.cpp
    void startSeek();
    void sendWhenQuiet();
    void sendSeek();
    bool trySeek(GstClockTime to, GstSeekFlags precision);
    void onSeekDone();
    GstClockTime clampToSource(double time) const;
    bool isSettled() const;

    // pipeline_messages.cpp
    void watchBus();
    void onMessage(GstMessage* message);
    void onAsyncDone();
    void markSeek();
    void onBuffering(int percent);
    void onError(GstMessage* message);
    void onMissingPlugin(GstMessage* message);
    void holdOrFail(Failure failure);
    void fail(Failure failure);

    GMainContext* const context_;
    ThreadPark& park_;
    PlaylistGateway& gateway_;
    const GStreamerOptions options_;
    const std::shared_ptr<FrameStore> frames_;
    const Reporter reporter_;
    std::atomic<std::uint64_t> expected_{0};

    // Of the player, for every session.
    double rate_ = 1;
    double volume_ = 1;
    bool muted_ = false;

    // Of the session.
    std::uint64_t session_ = 0;
    GatewaySource source_;
    bool isSecondTry_ = false;
    GstElement* playbin_ = nullptr;
    std::shared_ptr<DownloadGuard> guard_;
    std::shared_ptr<EndBarrier> ends_;
    std::shared_ptr<GatewaySession> playlists_;  // null for sources that are no playlists
    GSource* busWatch_ = nullptr;
    GSource* ticks_ = nullptr;
    GSource* seekWait_ = nullptr;
    bool prerolled_ = false;
    bool hasStreams_ = false;
    bool ended_ = false;
    bool sourceEnded_ = false;  // by an error, which the bus tells once
    bool wantPlaying_ = false;
    std::uint64_t play_ = 0;
    GstState requested_ = GST_STATE_NULL;
    bool running_ = false;
    int buffering_ = 100;
    bool reportedFed_ = false;
    bool wasFed_ = false;        // since the source or the last seek began
    GstClockTime origin_ = 0;    // stream time at which the player's clock is 0
    GstClockTime startsAt_ = 0;  // stream time of what is shown first
    bool sought_ = false;
    std::optional<double> duration_;

    std::optional<Target> wanted_;  // to be sent when the one in flight is done
    std::optional<Target> inFlight_;
    bool markReached_ = false;    // the bus has been read up to where the one in flight began
    std::uint64_t lastSeek_ = 0;  // the last one that was done
    Clock::time_point seekSentAt_;
    double rateInUse_ = 1;
    std::optional<GstClockTime> restingAt_;  // the exact stream time, as long as nothing has played from there

    std::vector<std::string> missingFormats_;
    std::optional<Failure> held_;  // to be told when what is buffered is used up
    GstClockTime lastPosition_ = 0;
    Clock::time_point progressAt_;
    Clock::time_point movedAt_;  // when the position last changed
};

}  // namespace quorel::gstreamer
