// What GStreamer says on the pipeline's bus.
#include <gst/pbutils/pbutils.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "engines/gstreamer/elements.h"
#include "engines/gstreamer/pipeline.h"

namespace quorel::gstreamer {
namespace {

bool hasAncestor(GstObject* object, std::string_view factory) {
    for (; object != nullptr; object = GST_OBJECT_PARENT(object)) {
        if (GST_IS_ELEMENT(object) && isMadeBy(GST_ELEMENT(object), factory)) return true;
    }
    return false;
}

}  // namespace

void Pipeline::watchBus() {
    GstBus* const bus = gst_element_get_bus(playbin_);
    busWatch_ = gst_bus_create_watch(bus);
    gst_object_unref(bus);
    const GstBusFunc function = [](GstBus*, GstMessage* message, gpointer self) -> gboolean {
        static_cast<Pipeline*>(self)->onMessage(message);
        return G_SOURCE_CONTINUE;
    };
    g_source_set_callback(busWatch_, G_SOURCE_FUNC(function), this, nullptr);
    g_source_attach(busWatch_, context_);
}

void Pipeline::onMessage(GstMessage* message) {
    if (playbin_ == nullptr) return;
    switch (GST_MESSAGE_TYPE(message)) {
        case GST_MESSAGE_ASYNC_DONE:
            if (GST_MESSAGE_SRC(message) == GST_OBJECT(playbin_)) onAsyncDone();
            break;
        case GST_MESSAGE_STATE_CHANGED: {
            if (GST_MESSAGE_SRC(message) != GST_OBJECT(playbin_)) break;
            GstState now{};
            gst_message_parse_state_changed(message, nullptr, &now, nullptr);
            if (now == GST_STATE_PLAYING) onRunning();
            break;
        }
        case GST_MESSAGE_APPLICATION:
            markReached_ = true;
            break;
        case GST_MESSAGE_BUFFERING: {
            gint percent = 100;
            gst_message_parse_buffering(message, &percent);
            onBuffering(percent);
            break;
        }
        case GST_MESSAGE_DURATION_CHANGED:
            if (prerolled_) {
                if (const auto duration = queryDuration(); duration != duration_) {
                    duration_ = duration;
                    report(DurationChanged{duration});
                }
            }
            break;
        case GST_MESSAGE_EOS:
            if (GST_MESSAGE_SRC(message) == GST_OBJECT(playbin_)) onEnded();
            break;
        case GST_MESSAGE_STREAMS_SELECTED:
            hasStreams_ = hasStreams_ || gst_message_streams_selected_get_size(message) > 0;
            break;
        case GST_MESSAGE_ERROR:
            onError(message);
            break;
        case GST_MESSAGE_ELEMENT:
            noteProgress();
            if (gst_is_missing_plugin_message(message)) onMissingPlugin(message);
            break;
        case GST_MESSAGE_LATENCY:
            gst_bin_recalculate_latency(GST_BIN(playbin_));
            break;
        case GST_MESSAGE_CLOCK_LOST:
            if (running_) {
                gst_element_set_state(playbin_, GST_STATE_PAUSED);
                gst_element_set_state(playbin_, GST_STATE_PLAYING);
            }
            break;
        default:
            break;
    }
}

void Pipeline::onAsyncDone() {
    noteProgress();
    if (!prerolled_) {
        onPrerolled();
    } else if (inFlight_ && markReached_) {
        onSeekDone();
    }
}

// An ASYNC_DONE that is on its way already when a seek begins belongs to a pause before it.
void Pipeline::markSeek() {
    markReached_ = false;
    gst_element_post_message(playbin_,
                             gst_message_new_application(GST_OBJECT(playbin_), gst_structure_new_empty("seek")));
}

void Pipeline::onBuffering(int percent) {
    if (percent != buffering_) noteProgress();
    buffering_ = percent;
    // While a seek is on its way, the percentage says nothing about what comes after it.
    if (!prerolled_ || inFlight_) return;
    applyState();
    reportFed();
}

void Pipeline::onMissingPlugin(GstMessage* message) {
    const GstStructure* const structure = gst_message_get_structure(message);
    const GValue* const detail = gst_structure_get_value(structure, "detail");
    if (detail == nullptr || !GST_VALUE_HOLDS_CAPS(detail)) return;
    const GstCaps* const caps = gst_value_get_caps(detail);
    if (gst_caps_is_empty(caps) || gst_caps_is_any(caps)) return;
    const std::string_view name = gst_structure_get_name(gst_caps_get_structure(caps, 0));
    if (!name.starts_with("video/") && !name.starts_with("audio/")) return;
    gchar* const description = gst_pb_utils_get_codec_description(caps);
    std::string format = description != nullptr ? description : std::string(name);
    g_free(description);
    if (std::find(missingFormats_.begin(), missingFormats_.end(), format) == missingFormats_.end()) {
        missingFormats_.push_back(std::move(format));
    }
}

void Pipeline::onError(GstMessage* message) {
    sourceEnded_ = true;
    GError* error = nullptr;
    gst_message_parse_error(message, &error, nullptr);
    const GstStructure* details = nullptr;
    gst_message_parse_error_details(message, &details);
    Failure failure;
    if (error != nullptr) failure.message = error->message;
    guint status = 0;
    if (details != nullptr && gst_structure_get_uint(details, "http-status-code", &status)) {
        failure.httpStatus = static_cast<int>(status);
    }
    GstObject* const from = GST_MESSAGE_SRC(message);
    if (!missingFormats_.empty()) {
        failure.kind = Failure::Kind::format;
        failure.formats = missingFormats_;
    } else if (hasAncestor(from, "urisourcebin")) {
        failure.kind = Failure::Kind::source;
    } else if (hasAncestor(from, "autoaudiosink")) {
        failure.kind = Failure::Kind::output;
    }
    g_clear_error(&error);
    if (!tryAgain(failure)) holdOrFail(std::move(failure));
}

void Pipeline::holdOrFail(Failure failure) {
    if (failure.kind == Failure::Kind::source && prerolled_ && !inFlight_) {
        if (held_ && held_->kind == Failure::Kind::source) return;  // the first message names the cause
        held_ = std::move(failure);
        movedAt_ = Clock::now();
        applyState();
        reportFed();
        return;
    }
    fail(std::move(failure));
}

void Pipeline::fail(Failure failure) {
    failure.hadPlayed = prerolled_;
    failure.position = playerTime(lastPosition_);
    if (playlists_ && failure.kind != Failure::Kind::format) {
        if (auto explanation = playlists_->explanation()) {
            failure.explanation = std::move(explanation->sentence);
            failure.isVague = explanation->isVague;
        }
    }
    report(Failed{std::move(failure)});
    unload();
}

}  // namespace quorel::gstreamer
