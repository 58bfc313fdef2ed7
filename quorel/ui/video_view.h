// Where moving pictures come into the view tree: a source of decoded frames, and the view that stands for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "quorel/ui/export.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

// One decoded picture, 4 bytes a pixel in the memory order blue, green, red, unused (BGRx). The pixels stay valid
// and unchanged for as long as the frame is held.
struct QUOREL_VISIBLE VideoFrame {
    int width = 0;             // pixels
    int height = 0;            // pixels
    int stride = 0;            // bytes from one row to the next
    double time = 0;           // presentation time in seconds
    std::uint64_t number = 0;  // grows by one with each frame of a source
    std::shared_ptr<const std::byte> pixels;
};

// Any thread.
class QUOREL_VISIBLE VideoFrameSource {
public:
    virtual ~VideoFrameSource() = default;

    // The picture to show now; null before the first one and after the picture was taken away. Frames may differ
    // in size from one to the next.
    virtual std::shared_ptr<const VideoFrame> latestFrame() const = 0;

    // Called on an engine's thread whenever latestFrame() changes; it must return at once (post to your loop and
    // draw there). One at a time; an empty function removes it, and once that returns the old one is not running.
    virtual void setFrameCallback(std::function<void()> callback) = 0;
};

// A view that shows a source's latest frame, scaled to fit with its proportions kept, black around it.
class QUOREL_VISIBLE VideoView final : public View {
public:
    // Shows that source for its life.
    static std::shared_ptr<VideoView> make(std::shared_ptr<VideoFrameSource> source) {
        auto view = std::make_shared<VideoView>();
        view->source_ = std::move(source);
        return view;
    }
    const std::shared_ptr<VideoFrameSource>& source() const { return source_; }

private:
    std::shared_ptr<VideoFrameSource> source_;
};

}  // namespace quorel::ui
