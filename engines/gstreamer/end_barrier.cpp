#include "engines/gstreamer/end_barrier.h"

#include <algorithm>

#include "engines/gstreamer/elements.h"
#include "engines/gstreamer/kept.h"

namespace quorel::gstreamer {
namespace {

// The others bring their second item or their end at some time; this is for the case that one does not.
constexpr std::chrono::seconds longestWait{10};

bool isFromAdaptiveDemuxer(GstElement* source) {
    const auto isAdaptive = +[](const GValue* value, GValue* found, gpointer) -> gboolean {
        if (!isMadeBy(static_cast<GstElement*>(g_value_get_object(value)), "hlsdemux2")) return TRUE;
        g_value_set_boolean(found, TRUE);
        return FALSE;
    };
    GValue found = G_VALUE_INIT;
    g_value_init(&found, G_TYPE_BOOLEAN);
    GstIterator* const children = gst_bin_iterate_elements(GST_BIN(source));
    while (gst_iterator_fold(children, isAdaptive, &found, nullptr) == GST_ITERATOR_RESYNC) {
        gst_iterator_resync(children);
    }
    gst_iterator_free(children);
    return g_value_get_boolean(&found);
}

}  // namespace

std::shared_ptr<EndBarrier> EndBarrier::watch(GstElement* playbin) {
    auto barrier = std::make_shared<EndBarrier>();
    const auto onSetup = +[](GstElement*, GstElement* element, gpointer self) {
        if (!isMadeBy(element, "urisourcebin")) return;
        const auto onPadAdded = +[](GstElement* source, GstPad* pad, gpointer own) {
            if (!isFromAdaptiveDemuxer(source)) from<EndBarrier>(own).onPad(pad);
        };
        connect(element, "pad-added", G_CALLBACK(onPadAdded), from<EndBarrier>(self).shared_from_this());
    };
    connect(playbin, "element-setup", G_CALLBACK(onSetup), barrier);
    return barrier;
}

void EndBarrier::onPad(GstPad* pad) {
    const auto stream = std::make_shared<Stream>(shared_from_this());
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(streams_, [](const auto& one) { return one.expired(); });
        streams_.push_back(stream);
    }
    constexpr auto items =
        static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_DATA_DOWNSTREAM | GST_PAD_PROBE_TYPE_EVENT_FLUSH);
    // Before the pad itself, on which uridecodebin3 takes the end away and hands it on by other means.
    GstProxyPad* const inside = gst_proxy_pad_get_internal(GST_PROXY_PAD(pad));
    gst_pad_add_probe(GST_PAD(inside), items, onItem, keep(stream), release<Stream>);
    gst_object_unref(inside);
}

GstPadProbeReturn EndBarrier::onItem(GstPad*, GstPadProbeInfo* info, gpointer own) {
    auto& stream = from<Stream>(own);
    EndBarrier& self = *stream.barrier;
    const GstEvent* const event = GST_IS_EVENT(info->data) ? GST_PAD_PROBE_INFO_EVENT(info) : nullptr;
    const GstEventType type = event != nullptr ? GST_EVENT_TYPE(event) : GST_EVENT_UNKNOWN;
    std::unique_lock lock(self.mutex_);
    if (type == GST_EVENT_FLUSH_START) {
        ++self.flushes_;
    } else if (type == GST_EVENT_EOS) {
        stream.stage = Stage::begun;
        self.changed_.notify_all();
        lock.unlock();
        self.waitForOthers(stream);
        return GST_PAD_PROBE_OK;
    } else if (stream.stage == Stage::empty && (event == nullptr || type == GST_EVENT_GAP)) {
        stream.stage = Stage::firstUnderWay;
        return GST_PAD_PROBE_OK;
    } else if (stream.stage == Stage::firstUnderWay && type != GST_EVENT_FLUSH_STOP) {
        stream.stage = Stage::begun;
    } else {
        return GST_PAD_PROBE_OK;
    }
    self.changed_.notify_all();
    return GST_PAD_PROBE_OK;
}

bool EndBarrier::haveBegun(const Stream& besides) const {
    return std::all_of(streams_.begin(), streams_.end(), [&besides](const auto& one) {
        const auto stream = one.lock();
        return !stream || stream.get() == &besides || stream->stage == Stage::begun;
    });
}

void EndBarrier::waitForOthers(const Stream& stream) {
    std::unique_lock lock(mutex_);
    // What is flushed comes to no end.
    changed_.wait_for(lock, longestWait, [this, &stream, flushes = flushes_] {
        return isOpen_ || flushes_ != flushes || haveBegun(stream);
    });
}

void EndBarrier::open() {
    {
        const std::lock_guard lock(mutex_);
        isOpen_ = true;
    }
    changed_.notify_all();
}

}  // namespace quorel::gstreamer
