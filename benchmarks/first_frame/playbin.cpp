// The least that plays a stream with pictures in memory: playbin3, an appsink, and sound that nobody hears.
//
//   first_frame_playbin                    is ready to play, and stays so
//   first_frame_playbin URL SECONDS STREAMS REST    plays so many, the last one for so long, and rests for so many seconds
//                                                   between them
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <cstdlib>

#include "benchmarks/first_frame/playback.h"

namespace {

using quorel::bench::Playback;

void show(GstSample* sample, gpointer playback) {
    if (sample == nullptr) return;
    gint width = 0;
    gst_structure_get_int(gst_caps_get_structure(gst_sample_get_caps(sample), 0), "width", &width);
    gst_sample_unref(sample);
    static_cast<Playback*>(playback)->pictureShown(width);
}

// The pipeline of the last stream is left as it plays.
void play(const char* url, double secondsToPlay, double rest, bool isLast) {
    Playback playback;
    GstElement* const playbin = gst_element_factory_make("playbin3", nullptr);
    GstElement* const video = gst_element_factory_make("appsink", nullptr);
    GstElement* const audio = gst_element_factory_make("fakesink", nullptr);
    GstCaps* const caps = gst_caps_from_string("video/x-raw,format=BGRx");
    g_object_set(video, "caps", caps, "max-buffers", 1u, "drop", TRUE, "enable-last-sample", FALSE, nullptr);
    gst_caps_unref(caps);
    g_object_set(audio, "sync", TRUE, nullptr);
    GstAppSinkCallbacks callbacks{};
    callbacks.new_preroll = [](GstAppSink* sink, gpointer own) {
        show(gst_app_sink_pull_preroll(sink), own);
        return GST_FLOW_OK;
    };
    callbacks.new_sample = [](GstAppSink* sink, gpointer own) {
        show(gst_app_sink_pull_sample(sink), own);
        return GST_FLOW_OK;
    };
    gst_app_sink_set_callbacks(GST_APP_SINK(video), &callbacks, &playback, nullptr);
    constexpr guint pictureAndSound = 3;  // its subtitle path takes time even where there are none
    g_object_set(playbin, "flags", pictureAndSound, "uri", url, "video-sink", video, "audio-sink", audio, nullptr);
    gst_element_set_state(playbin, GST_STATE_PLAYING);
    GstBus* const bus = gst_element_get_bus(playbin);
    while (!playback.hasPlayed(secondsToPlay)) {
        if (gst_bus_timed_pop_filtered(bus, 10 * GST_MSECOND, GST_MESSAGE_ERROR) != nullptr) std::_Exit(1);
    }
    if (isLast) quorel::bench::stay(playback.pictures());
    gst_element_set_state(playbin, GST_STATE_NULL);
    gst_object_unref(bus);
    gst_object_unref(playbin);
    g_usleep(static_cast<gulong>(rest * 1e6));
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(nullptr, nullptr);
    if (argc != 5) quorel::bench::stay(0);
    for (int left = std::atoi(argv[3]); left > 0; --left)
        play(argv[1], left > 1 ? 0 : std::atof(argv[2]), std::atof(argv[4]), left == 1);
}
