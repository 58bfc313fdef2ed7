#include "engines/gstreamer/download_guard.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "engines/gstreamer/elements.h"
#include "engines/gstreamer/kept.h"

namespace quorel::gstreamer {
namespace {

using namespace std::chrono_literals;

// A request is in the queue for as long as it takes to wake a thread, and a cancelled one comes back as soon. How long
// that is nobody tells, but a thread that slept can see whether it was woken in time itself; only such sleeps count.
constexpr auto inTime = 12ms;
constexpr int pollsUntilQuiet = 4;
constexpr int pollsUntilSettled = 10;
// Until a request is sent on, in a demuxer that makes no new ones.
constexpr int pollsUntilSent = 2;
// Where the machine never lets a thread run in time, it must do without.
constexpr auto longestWait = 1500ms;
// Until the reply to the request for a playlist is there, which the gateway gives at once when it is closed.
constexpr auto longestReply = 500ms;
// Of a server whose replies are worth waiting for before a teardown, which nobody sees.
constexpr auto teardownPatience = 400ms;

// What other threads were woken for is done meanwhile: cancelled requests come back.
void settle(int polls = pollsUntilSettled) {
    const auto begun = std::chrono::steady_clock::now();
    auto last = begun;
    for (int timely = 0; timely < polls && last - begun < longestWait;) {
        std::this_thread::sleep_for(DownloadGuard::pollInterval);
        const auto now = std::chrono::steady_clock::now();
        if (now - std::exchange(last, now) < inTime) ++timely;
    }
}

}  // namespace

std::shared_ptr<DownloadGuard> DownloadGuard::watch(GstElement* playbin) {
    auto guard = std::make_shared<DownloadGuard>();
    const auto onSetup =
        +[](GstElement*, GstElement* element, gpointer self) { from<DownloadGuard>(self).onElement(element); };
    connect(playbin, "element-setup", G_CALLBACK(onSetup), guard);
    return guard;
}

DownloadGuard::DownloadGuard() {
    g_weak_ref_init(&demuxer_, nullptr);
}
DownloadGuard::~DownloadGuard() {
    g_weak_ref_clear(&demuxer_);
}

GstElement* DownloadGuard::demuxer() const {
    return static_cast<GstElement*>(g_weak_ref_get(&demuxer_));
}

GstPad* DownloadGuard::source() const {
    GstElement* const adaptive = demuxer();
    if (adaptive == nullptr) return nullptr;
    GstPad* source = nullptr;
    GST_OBJECT_LOCK(adaptive);
    if (adaptive->srcpads != nullptr) source = GST_PAD(gst_object_ref(adaptive->srcpads->data));
    GST_OBJECT_UNLOCK(adaptive);
    gst_object_unref(adaptive);
    return source;
}

bool DownloadGuard::isAdaptive() const {
    GstElement* const adaptive = demuxer();
    if (adaptive != nullptr) gst_object_unref(adaptive);
    return adaptive != nullptr;
}

bool DownloadGuard::send(GstElement* playbin, GstEvent* seek) const {
    GstPad* const pad = source();
    if (pad == nullptr) return gst_element_send_event(playbin, seek);
    const bool taken = gst_pad_send_event(pad, seek);
    gst_object_unref(pad);
    return taken;
}

void DownloadGuard::onElement(GstElement* element) {
    if (isMadeBy(element, "hlsdemux2")) {
        g_weak_ref_set(&demuxer_, element);
        {
            const std::lock_guard lock(mutex_);
            made_ = Clock::now();
        }
        const auto onPad = +[](GstElement*, GstPad* pad, gpointer self) {
            gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_FLUSH, onFlush,
                              keep(from<DownloadGuard>(self).shared_from_this()), release<DownloadGuard>);
            gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM, onOutput,
                              keep(from<DownloadGuard>(self).shared_from_this()), release<DownloadGuard>);
        };
        connect(element, "pad-added", G_CALLBACK(onPad), shared_from_this());
        return;
    }
    GstObject* const parent = GST_OBJECT_PARENT(element);
    if (parent == nullptr || !isMadeBy(element, "parsebin") || !isMadeBy(GST_ELEMENT(parent), "hlsdemux2")) return;
    if (GstPad* const pad = gst_element_get_static_pad(element, "sink")) {
        watchStream(pad);
        gst_object_unref(pad);
    }
}

void DownloadGuard::watchStream(GstPad* pad) {
    const auto stream = std::make_shared<Stream>(shared_from_this());
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, onData, keep(stream), release<Stream>);
    auto beginning = std::make_shared<Beginning>();
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, onBeginning, keep(beginning), release<Beginning>);
    const std::lock_guard lock(mutex_);
    std::erase_if(streams_, [](const auto& one) { return one.expired(); });
    streams_.push_back(stream);
    // A few are enough for the first ones of a picture and its sound; later ones come with every discontinuity.
    if (beginnings_.size() < 8) beginnings_.push_back(std::move(beginning));
}

GstPadProbeReturn DownloadGuard::onData(GstPad*, GstPadProbeInfo* info, gpointer own) {
    Stream& stream = from<Stream>(own);
    DownloadGuard& self = *stream.guard;
    ++self.dataCount_;
    stream.lastData = Clock::now();
    if (!self.refusing_) return GST_PAD_PROBE_OK;
    stream.refused = true;
    gst_buffer_unref(GST_PAD_PROBE_INFO_BUFFER(info));
    GST_PAD_PROBE_INFO_DATA(info) = nullptr;
    GST_PAD_PROBE_INFO_FLOW_RETURN(info) = GST_FLOW_FLUSHING;
    return GST_PAD_PROBE_HANDLED;
}

GstPadProbeReturn DownloadGuard::onBeginning(GstPad*, GstPadProbeInfo* info, gpointer own) {
    Beginning& beginning = from<Beginning>(own);
    GstMapInfo map;
    GstBuffer* const buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (buffer == nullptr || !gst_buffer_map(buffer, &map, GST_MAP_READ)) return GST_PAD_PROBE_OK;
    bool more = false;
    {
        const std::lock_guard lock(beginning.mutex);
        more = beginning.timestamp.feed({map.data, map.size});
    }
    gst_buffer_unmap(buffer, &map);
    return more ? GST_PAD_PROBE_OK : GST_PAD_PROBE_REMOVE;
}

std::optional<double> DownloadGuard::firstTimestamp() const {
    const std::lock_guard lock(mutex_);
    std::optional<double> any;
    for (const auto& beginning : beginnings_) {
        const std::lock_guard reading(beginning->mutex);
        if (const auto video = beginning->timestamp.ofVideo()) return video;
        if (!any) any = beginning->timestamp.ofAny();
    }
    return any;
}

// What the demuxer says while it ends would have decodebin3 and playbin3 change their streams once more, and when that
// meets streams that are only just coming up, an assertion in playbin3 ends the process.
GstPadProbeReturn DownloadGuard::onOutput(GstPad*, GstPadProbeInfo*, gpointer guard) {
    return from<DownloadGuard>(guard).ending_ ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

// The demuxer begins a seek by a flush, and what it loads then is wanted. Its scheduler stands still meanwhile, and what
// is in the queue will be cancelled next: such as the request of a stream whose server fails, and which is asked again
// every 10 ms without any data to be refused.
GstPadProbeReturn DownloadGuard::onFlush(GstPad*, GstPadProbeInfo* info, gpointer guard) {
    GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_START) return GST_PAD_PROBE_OK;
    DownloadGuard& self = from<DownloadGuard>(guard);
    self.refusing_ = false;
    // Each of the demuxer's pads gets it.
    const std::uint32_t seek = gst_event_get_seqnum(event);
    if (self.seek_.exchange(seek) != seek) settle(pollsUntilSent);
    return GST_PAD_PROBE_OK;
}

void DownloadGuard::refuseData() {
    const std::lock_guard lock(mutex_);
    for (const auto& one : streams_) {
        if (const auto stream = one.lock()) stream->refused = false;
    }
    refusing_ = true;
    refusingSince_ = lastPoll_ = Clock::now();
    dataSeen_ = dataCount_;
    quietPolls_ = 0;
}

bool DownloadGuard::hasStreams() const {
    const std::lock_guard lock(mutex_);
    return std::any_of(streams_.begin(), streams_.end(), [](const auto& one) { return !one.expired(); });
}

bool DownloadGuard::awaitsReply(Clock::time_point now, std::chrono::milliseconds patience) const {
    bool isAlive = false;
    for (const auto& one : streams_) {
        const auto stream = one.lock();
        if (!stream) continue;
        isAlive = true;
        if (!stream->refused && now - stream->lastData.load() < patience) return true;
    }
    return !isAlive && now - made_ < patience;
}

bool DownloadGuard::becameQuiet(std::chrono::milliseconds patience) {
    GstElement* const adaptive = demuxer();
    if (adaptive == nullptr) return true;
    gst_object_unref(adaptive);
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    const std::uint64_t count = dataCount_;
    const bool timely = now - std::exchange(lastPoll_, now) < inTime;
    const bool silent = std::exchange(dataSeen_, count) == count;
    quietPolls_ = timely && silent && !awaitsReply(now, patience) ? quietPolls_ + 1 : 0;
    return quietPolls_ >= pollsUntilQuiet || now - refusingSince_ > longestWait;
}

void DownloadGuard::stopDownloads(GstElement* playbin, bool sourceEnded) {
    GstElement* adaptive = demuxer();
    GstBus* const bus = gst_element_get_bus(playbin);
    const auto begun = Clock::now();
    while (adaptive == nullptr && !sourceEnded && Clock::now() - begun < longestReply) {
        constexpr auto ends = static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_EOS);
        if (GstMessage* const message = gst_bus_timed_pop_filtered(bus, 5 * GST_MSECOND, ends)) {
            gst_message_unref(message);
            sourceEnded = true;
        }
        adaptive = demuxer();
    }
    gst_object_unref(bus);
    if (adaptive == nullptr) return settle();
    refuseData();
    while (!becameQuiet(teardownPatience)) std::this_thread::sleep_for(pollInterval);
    // A selection of no streams at all cancels their requests, which needs the demuxer at work to come to its end. It is
    // refused, and a lock kept for good, before the streams are made. GStreamer's own constructor of that event wants at
    // least one.
    if (hasStreams()) {
        ending_ = true;
        GstStructure* const nothing = gst_structure_new_empty("GstEventSelectStreams");
        GValue streams = G_VALUE_INIT;
        g_value_init(&streams, GST_TYPE_LIST);
        gst_structure_take_value(nothing, "streams", &streams);
        gst_element_send_event(adaptive, gst_event_new_custom(GST_EVENT_SELECT_STREAMS, nothing));
        settle();
    }
    gst_object_unref(adaptive);
}

}  // namespace quorel::gstreamer
