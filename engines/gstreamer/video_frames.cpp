#include "engines/gstreamer/video_frames.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <utility>

namespace quorel::gstreamer {

std::shared_ptr<const ui::VideoFrame> FrameStore::latestFrame() const {
    std::shared_ptr<const ui::VideoFrame> latest;
    SubtitleCues cues;
    const std::lock_guard drawing(drawingMutex_);
    {
        const std::lock_guard lock(mutex_);
        if (!latest_) return nullptr;
        if (drawn_ && drawn_->number == latest_->number) return drawn_;
        latest = latest_;
        cues = cuesFor(*latest);
    }
    if (!cues.empty()) latest = painter_.draw(*latest, cues);
    const std::lock_guard lock(mutex_);
    drawn_ = latest;
    return latest;
}

// The first frames after a seek come before the cues have followed it, and are not for those of the old place.
SubtitleCues FrameStore::cuesFor(const ui::VideoFrame& frame) const {
    if (frame.number <= cuesNumber_) return cues_;
    constexpr double slack = 0.25;  // seconds
    SubtitleCues cues;
    for (const auto& cue : cues_) {
        if (cue->startTime() - slack <= frame.time && frame.time < cue->endTime() + slack) cues.push_back(cue);
    }
    return cues;
}

void FrameStore::setCues(SubtitleCues cues) {
    {
        const std::lock_guard lock(mutex_);
        cues_.swap(cues);
        if (!latest_) return;
        auto renewed = std::make_shared<ui::VideoFrame>(*latest_);
        cuesNumber_ = renewed->number = ++number_;
        latest_ = std::move(renewed);
        drawn_ = nullptr;
    }
    tell();
}

void FrameStore::setFrameCallback(std::function<void()> callback) {
    const std::lock_guard lock(callbackMutex_);
    callback_ = callback ? std::make_shared<const std::function<void()>>(std::move(callback)) : nullptr;
}

void FrameStore::tell() {
    const std::lock_guard lock(callbackMutex_);
    if (const auto callback = callback_) (*callback)();
}

void FrameStore::begin(std::uint64_t session) {
    std::shared_ptr<const ui::VideoFrame> old;
    {
        const std::lock_guard lock(mutex_);
        session_ = session;
        hold_ = false;
        origin_ = 0;
        firstTime_.reset();
        drawn_ = nullptr;
        old = std::exchange(latest_, nullptr);
    }
    if (old) tell();
}

void FrameStore::setHold(std::uint64_t session, bool hold) {
    const std::lock_guard lock(mutex_);
    if (session == session_) hold_ = hold;
}

void FrameStore::setOrigin(std::uint64_t session, double origin) {
    const std::lock_guard lock(mutex_);
    if (session != session_) return;
    if (latest_ && origin != origin_) {
        auto moved = std::make_shared<ui::VideoFrame>(*latest_);
        moved->time += origin_ - origin;
        drawn_ = nullptr;
        latest_ = std::move(moved);
    }
    origin_ = origin;
}

std::optional<double> FrameStore::firstTime(std::uint64_t session) const {
    const std::lock_guard lock(mutex_);
    return session == session_ ? firstTime_ : std::nullopt;
}

void FrameStore::publish(std::uint64_t session, ui::VideoFrame frame) {
    auto published = std::make_shared<ui::VideoFrame>(std::move(frame));
    std::shared_ptr<const ui::VideoFrame> old;
    {
        const std::lock_guard lock(mutex_);
        if (session != session_) return;
        if (!firstTime_) firstTime_ = published->time;
        if (hold_) return;
        published->number = ++number_;
        published->time -= origin_;
        old = std::exchange(latest_, std::move(published));
    }
    tell();
}

namespace {

// What one appsink knows: where its frames go, and the format it read last.
struct Outlet {
    std::shared_ptr<FrameStore> store;
    std::uint64_t session = 0;
    std::mutex mutex;
    GstCaps* caps = nullptr;
    GstVideoInfo info{};

    ~Outlet() { gst_caps_replace(&caps, nullptr); }
};

struct MappedPixels {
    GstBuffer* buffer;
    GstMapInfo map;
    void operator()(const std::byte*) {
        gst_buffer_unmap(buffer, &map);
        gst_buffer_unref(buffer);
    }
};

void publish(Outlet& outlet, GstSample* sample) {
    GstBuffer* const buffer = gst_sample_get_buffer(sample);
    GstCaps* const caps = gst_sample_get_caps(sample);
    if (buffer == nullptr || caps == nullptr) return;
    const std::lock_guard lock(outlet.mutex);
    if (caps != outlet.caps) {
        if (!gst_video_info_from_caps(&outlet.info, caps)) return;
        gst_caps_replace(&outlet.caps, caps);
    }
    ui::VideoFrame frame;
    frame.width = GST_VIDEO_INFO_WIDTH(&outlet.info);
    frame.height = GST_VIDEO_INFO_HEIGHT(&outlet.info);
    frame.stride = GST_VIDEO_INFO_PLANE_STRIDE(&outlet.info, 0);
    gsize offset = GST_VIDEO_INFO_PLANE_OFFSET(&outlet.info, 0);
    if (const GstVideoMeta* const meta = gst_buffer_get_video_meta(buffer)) {
        frame.stride = meta->stride[0];
        offset = meta->offset[0];
    }
    const GstSegment* const segment = gst_sample_get_segment(sample);
    const GstClockTime time = gst_segment_to_stream_time(segment, GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
    if (GST_CLOCK_TIME_IS_VALID(time)) frame.time = static_cast<double>(time) / GST_SECOND;

    MappedPixels pixels{gst_buffer_ref(buffer), GST_MAP_INFO_INIT};
    if (!gst_buffer_map(buffer, &pixels.map, GST_MAP_READ)) {
        gst_buffer_unref(buffer);
        return;
    }
    const auto* const first = reinterpret_cast<const std::byte*>(pixels.map.data + offset);
    frame.pixels = std::shared_ptr<const std::byte>(first, pixels);
    outlet.store->publish(outlet.session, std::move(frame));
}

GstFlowReturn onPreroll(GstAppSink* sink, gpointer outlet) {
    if (GstSample* const sample = gst_app_sink_pull_preroll(sink)) {
        publish(*static_cast<Outlet*>(outlet), sample);
        gst_sample_unref(sample);
    }
    return GST_FLOW_OK;
}

GstFlowReturn onSample(GstAppSink* sink, gpointer outlet) {
    if (GstSample* const sample = gst_app_sink_pull_sample(sink)) {
        publish(*static_cast<Outlet*>(outlet), sample);
        gst_sample_unref(sample);
    }
    return GST_FLOW_OK;
}

}  // namespace

GstElement* makeVideoSink(std::shared_ptr<FrameStore> store, std::uint64_t session) {
    GstElement* const sink = gst_element_factory_make("appsink", nullptr);
    if (sink == nullptr) return nullptr;
    // Square pixels, because a frame has no place to say otherwise: playbin3 scales where the stream has others.
    GstCaps* const caps = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "BGRx", "pixel-aspect-ratio",
                                              GST_TYPE_FRACTION, 1, 1, nullptr);
    // Late frames are shown all the same, but the decoder is told to skip, which is how a slow machine catches up.
    g_object_set(sink, "caps", caps, "sync", TRUE, "qos", TRUE, "drop", TRUE, "max-buffers", 1u,
                 "enable-last-sample", FALSE, nullptr);
    gst_caps_unref(caps);
    GstAppSinkCallbacks callbacks{};
    callbacks.new_preroll = onPreroll;
    callbacks.new_sample = onSample;
    auto* const outlet = new Outlet;
    outlet->store = std::move(store);
    outlet->session = session;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, outlet,
                               [](gpointer own) { delete static_cast<Outlet*>(own); });
    return GST_ELEMENT(gst_object_ref_sink(sink));
}

}  // namespace quorel::gstreamer
