// Private to this room. Keeps a race of decodebin3 away (GStreamer 1.22, gst-plugins-base, gst/playback).
//
// The streams of a progressive file come to decodebin3 on threads of their own. The first buffer of each has it look
// after its other streams, too, and one of those that has come to its end already it forgets; but not the element in
// front of that stream, and what is left of the pair ends the process when the pipeline is torn down. A few seconds of
// video, as ads are, come whole while a decoder is still being made for the first of them. So the end of a stream waits
// here until the first buffers of the others are through.
#pragma once

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace quorel::gstreamer {

class EndBarrier : public std::enable_shared_from_this<EndBarrier> {
public:
    // Watches the streams of what the playbin will play. An adaptive demuxer brings all of its on one thread, in the
    // order of their times; it is left alone.
    static std::shared_ptr<EndBarrier> watch(GstElement* playbin);
    EndBarrier() = default;
    EndBarrier(const EndBarrier&) = delete;
    EndBarrier& operator=(const EndBarrier&) = delete;

    // Lets everybody pass from here on; to be called before a teardown, which waits for the streams' threads. Any thread.
    void open();

private:
    enum class Stage { empty, firstUnderWay, begun };
    struct Stream {
        explicit Stream(std::shared_ptr<EndBarrier> owner) : barrier(std::move(owner)) {}
        const std::shared_ptr<EndBarrier> barrier;
        Stage stage = Stage::empty;
    };

    void onPad(GstPad* pad);
    bool haveBegun(const Stream& besides) const;
    void waitForOthers(const Stream& stream);
    static GstPadProbeReturn onItem(GstPad* pad, GstPadProbeInfo* info, gpointer stream);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::weak_ptr<Stream>> streams_;
    unsigned flushes_ = 0;
    bool isOpen_ = false;
};

}  // namespace quorel::gstreamer
