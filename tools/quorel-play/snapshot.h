// Writes a decoded picture as PNG.
#pragma once

#include <string>

#include "quorel/foundation/error.h"
#include "quorel/ui/video_view.h"

namespace quorel::play {

class SnapshotError : public Error {
public:
    using Error::Error;
};

// Opaque, 8 bits a channel. Throws SnapshotError when there is no picture in the frame or the file cannot be
// written. Any thread.
void writePNG(const ui::VideoFrame& frame, const std::string& path);

}  // namespace quorel::play
