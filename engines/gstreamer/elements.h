// Private to this room. The GStreamer elements that a pipeline is made of, and what they are told.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/video_frames.h"

namespace quorel::gstreamer {

// Initialises GStreamer, once in the process. Gives why that failed; empty when all went well.
const std::string& initialiseGStreamer();

// A playbin3 that plays `uri` into the store; the caller owns a reference. Null with `problem` set to a sentence when an element is missing.
GstElement* makePlaybin(const std::string& uri, GStreamerOptions::Audio audio, std::shared_ptr<FrameStore> store,
                        std::uint64_t session, std::string& problem);

// Whether the element is of this kind, as "urisourcebin".
bool isMadeBy(GstElement* element, std::string_view factoryName);

}  // namespace quorel::gstreamer
