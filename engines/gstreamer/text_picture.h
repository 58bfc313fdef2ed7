// Private to this room. Cues drawn into a picture: white letters with a dark outline, at the bottom unless a cue asks
// for another place, in a size that goes with the picture's height.
//
//   SubtitlePainter painter;
//   frame = painter.draw(*frame, cues);
//
// Any thread. What a cue looks like is kept from one frame to the next, and so are the buffers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "engines/gstreamer/text_timeline.h"
#include "quorel/ui/video_view.h"

namespace quorel::gstreamer {

class SubtitlePainter {
public:
    SubtitlePainter();
    ~SubtitlePainter();
    SubtitlePainter(const SubtitlePainter&) = delete;
    SubtitlePainter& operator=(const SubtitlePainter&) = delete;

    // A copy of the frame with the cues in it. In their order, each above what it would cover of the ones before.
    std::shared_ptr<const ui::VideoFrame> draw(const ui::VideoFrame& frame, const SubtitleCues& cues);
    // Reads the fonts, which takes long the first time.
    void prepare();

private:
    // One cue, in colours that are multiplied with the coverage already, 4 bytes a pixel as in the frame.
    struct Picture {
        int x = 0;  // pixels
        int y = 0;
        int width = 0;
        int height = 0;
        std::vector<std::uint32_t> pixels;
    };
    class Fonts;
    class Buffers;

    void render(int width, int height, const SubtitleCues& cues);
    static void blend(const Picture& picture, std::byte* pixels, int stride);

    std::mutex mutex_;
    std::unique_ptr<Fonts> fonts_;
    const std::shared_ptr<Buffers> buffers_;
    // What was rendered last, and of what.
    std::vector<Picture> pictures_;
    SubtitleCues cues_;
    int width_ = 0;
    int height_ = 0;
};

}  // namespace quorel::gstreamer
