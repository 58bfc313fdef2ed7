// Private to this room. Keeps the races of hlsdemux2 away (GStreamer 1.22, gst-plugins-good, ext/adaptivedemux2).
//
// A segment's request travels through a queue to a thread that sends it. One that is cancelled while it is in that
// queue is not found by the canceller and loads all the same; its completion is then taken for that of the request
// which came after it, and an assertion ends the process. And a pipeline that is torn down while a request is under
// way never gives back what belongs to it: memory, a connection, a descriptor. So nothing here is cancelled while
// segments come in: first the demuxer is made to stop by itself, by refusing the data it brings, and only when it has
// been quiet for a moment it is sought in or torn down. A stream whose server fails brings no data to refuse, and asks
// again and again; so a seek waits once more when it has stopped the demuxer, for whatever is still in the queue. A
// request that was cancelled in the moment of its reply has ended the process inside libsoup 3.2, as if it had been
// answered twice; so replies that are on their way are waited for.
#pragma once

#include <gst/gst.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "engines/gstreamer/first_timestamp.h"

namespace quorel::gstreamer {

class DownloadGuard : public std::enable_shared_from_this<DownloadGuard> {
public:
    // Watches the adaptive demuxer that the playbin will make; one that plays something else is left alone.
    static std::shared_ptr<DownloadGuard> watch(GstElement* playbin);
    DownloadGuard();
    ~DownloadGuard();
    DownloadGuard(const DownloadGuard&) = delete;
    DownloadGuard& operator=(const DownloadGuard&) = delete;

    // Any thread, as all of it. From here on streams stop at the next data they bring, until a flush begins.
    void refuseData();
    void acceptData() { refusing_ = false; }
    // Whether nothing has come for a while since refuseData(), and nothing is expected: a stream that has not been
    // refused anything yet, and had something within the time of `patience`, may be waiting for a reply. Then a flushing
    // seek is safe. To be asked every pollInterval until it says so; it takes some 20 ms, and longer on a machine that
    // lets nobody run in time.
    bool becameQuiet(std::chrono::milliseconds patience);
    static constexpr std::chrono::milliseconds pollInterval{5};
    // Takes the event, and gives whether the playbin takes the seek. An adaptive demuxer gets it once: by way of the
    // sinks one that is refused would come a second time, and each time all streams begin anew.
    bool send(GstElement* playbin, GstEvent* seek) const;
    // Whether there is an adaptive demuxer. It refuses to seek to the very end.
    bool isAdaptive() const;
    // The first time stamp of the stream with the pictures, or of any where there are none; absent for sources without
    // an adaptive demuxer.
    std::optional<double> firstTimestamp() const;
    // Blocks for 0.1 s up to some seconds: waits for replies, and cancels what is still being waited for. After that the
    // playbin may go. `sourceEnded`: it has told an error or its end already.
    void stopDownloads(GstElement* playbin, bool sourceEnded);

private:
    using Clock = std::chrono::steady_clock;
    struct Beginning {
        std::mutex mutex;
        FirstTimestamp timestamp;
    };

    // A pad through which the demuxer gets what it loads.
    struct Stream {
        explicit Stream(std::shared_ptr<DownloadGuard> owner) : guard(std::move(owner)) {}
        const std::shared_ptr<DownloadGuard> guard;
        std::atomic<Clock::time_point> lastData = Clock::now();
        std::atomic<bool> refused = false;
    };

    void onElement(GstElement* element);
    void watchStream(GstPad* pad);
    bool hasStreams() const;  // which come before their first requests, and long before the demuxer's pads
    bool awaitsReply(Clock::time_point now, std::chrono::milliseconds patience) const;
    static GstPadProbeReturn onData(GstPad* pad, GstPadProbeInfo* info, gpointer stream);
    static GstPadProbeReturn onBeginning(GstPad* pad, GstPadProbeInfo* info, gpointer beginning);
    static GstPadProbeReturn onOutput(GstPad* pad, GstPadProbeInfo* info, gpointer guard);
    static GstPadProbeReturn onFlush(GstPad* pad, GstPadProbeInfo* info, gpointer guard);
    GstElement* demuxer() const;  // the caller owns a reference; null when there is none
    GstPad* source() const;       // of the demuxer, the same way

    mutable GWeakRef demuxer_;
    std::atomic<bool> refusing_ = false;
    std::atomic<bool> ending_ = false;
    std::atomic<std::uint32_t> seek_ = GST_SEQNUM_INVALID;  // the last one that has begun
    std::atomic<std::uint64_t> dataCount_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::weak_ptr<Stream>> streams_;
    Clock::time_point made_;  // the demuxer
    // What becameQuiet() saw since refuseData().
    Clock::time_point refusingSince_;
    Clock::time_point lastPoll_;
    std::uint64_t dataSeen_ = 0;
    int quietPolls_ = 0;
    std::vector<std::shared_ptr<Beginning>> beginnings_;  // of the streams, in the order of their appearance
};

}  // namespace quorel::gstreamer
