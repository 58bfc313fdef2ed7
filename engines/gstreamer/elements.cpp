#include "engines/gstreamer/elements.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "engines/gstreamer/sound_output.h"

namespace quorel::gstreamer {
namespace {

// GstPlayFlags, which playbin3 registers at run time and no header declares. Without the flag for texts: hlsdemux2
// breaks the whole playback over one missing subtitle playlist. Nor the one for a volume of playbin3's own, which
// GStreamer 1.22 never frees: 5 KB for each title.
constexpr unsigned playVideo = 0x1;
constexpr unsigned playAudio = 0x2;
constexpr unsigned useBuffering = 0x100;
constexpr unsigned deinterlace = 0x200;

struct Requirement {
    const char* element;
    const char* package;
};

std::string missingElement() {
    static constexpr std::array<Requirement, 4> required{{{"playbin3", "gstreamer1.0-plugins-base"},
                                                          {"appsink", "gstreamer1.0-plugins-base"},
                                                          {"hlsdemux2", "gstreamer1.0-plugins-good"},
                                                          {"souphttpsrc", "gstreamer1.0-plugins-good"}}};
    for (const Requirement& requirement : required) {
        GstElementFactory* const factory = gst_element_factory_find(requirement.element);
        if (factory == nullptr) {
            return fmt::format("GStreamer's {} is missing: install the package {}.", requirement.element,
                               requirement.package);
        }
        gst_object_unref(factory);
    }
    return {};
}

GstElement* makeSilentSink() {
    GstElement* const sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", TRUE, "enable-last-sample", FALSE, nullptr);
    return GST_ELEMENT(gst_object_ref_sink(sink));
}

// Takes the sink, and gives one that playbin3 finds a volume in: the sink's own, or else this, for it looks at the
// children that were added last first.
GstElement* withVolume(GstElement* sink) {
    GstElement* const volume = gst_element_factory_make("volume", nullptr);
    if (volume == nullptr) return sink;
    GstElement* const bin = gst_bin_new(nullptr);
    gst_object_ref_sink(bin);
    gst_bin_add_many(GST_BIN(bin), volume, sink, nullptr);
    gst_object_unref(sink);
    gst_element_link(volume, sink);
    GstPad* const pad = gst_element_get_static_pad(volume, "sink");
    gst_element_add_pad(bin, gst_ghost_pad_new("sink", pad));
    gst_object_unref(pad);
    gst_element_set_state(bin, GST_STATE_READY);  // as the sink is, so that whoever lets go of it ends both
    return bin;
}

// A sink that could not be opened when playback begins would break the picture too.
GstElement* makeAudioSink(GStreamerOptions::Audio audio) {
    if (audio == GStreamerOptions::Audio::none || !hasSoundOutput()) return makeSilentSink();
    GstElement* const sink = gst_element_factory_make("autoaudiosink", nullptr);
    if (sink == nullptr) return makeSilentSink();
    gst_object_ref_sink(sink);
    if (gst_element_set_state(sink, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) return withVolume(sink);
    gst_element_set_state(sink, GST_STATE_NULL);
    gst_object_unref(sink);
    return makeSilentSink();
}

}  // namespace

const std::string& initialiseGStreamer() {
    static const std::string problem = [] {
        GError* error = nullptr;
        if (gst_init_check(nullptr, nullptr, &error)) return missingElement();
        std::string text =
            fmt::format("GStreamer could not be initialised: {}", error != nullptr ? error->message : "");
        g_clear_error(&error);
        return text;
    }();
    return problem;
}

GstElement* makePlaybin(const std::string& uri, GStreamerOptions::Audio audio, std::shared_ptr<FrameStore> store,
                        std::uint64_t session, std::string& problem) {
    problem = initialiseGStreamer();
    if (!problem.empty()) return nullptr;
    GstElement* playbin = gst_element_factory_make("playbin3", nullptr);
    GstElement* videoSink = makeVideoSink(std::move(store), session);
    if (playbin == nullptr || videoSink == nullptr) {
        problem = "GStreamer's playbin3 could not be made: is the package gstreamer1.0-plugins-base complete?";
        g_clear_object(&playbin);
        g_clear_object(&videoSink);
        return nullptr;
    }
    gst_object_ref_sink(playbin);
    GstElement* const audioSink = makeAudioSink(audio);
    g_object_set(playbin, "flags", playVideo | playAudio | useBuffering | deinterlace, "video-sink", videoSink,
                 "audio-sink", audioSink, "uri", uri.c_str(), nullptr);
    gst_object_unref(videoSink);
    gst_object_unref(audioSink);
    // Keeps the pitch at other rates than 1; without it they sound, but higher or lower.
    if (GstElement* const scaletempo = gst_element_factory_make("scaletempo", nullptr)) {
        g_object_set(playbin, "audio-filter", scaletempo, nullptr);
    }
    return playbin;
}

bool isMadeBy(GstElement* element, std::string_view factoryName) {
    const GstElementFactory* const factory = gst_element_get_factory(element);
    return factory != nullptr && factoryName == GST_OBJECT_NAME(factory);
}

}  // namespace quorel::gstreamer
