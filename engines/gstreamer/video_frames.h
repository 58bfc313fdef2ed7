// Private to this room. The way of the decoded pictures, from the pipeline's appsink to whoever draws them.
#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "engines/gstreamer/text_picture.h"
#include "quorel/ui/video_view.h"

namespace quorel::gstreamer {

// Keeps the latest frame of the session that is playing. Pipelines of earlier sessions, which may still deliver
// while they are torn down, are not listened to.
class FrameStore final : public ui::VideoFrameSource {
public:
    std::shared_ptr<const ui::VideoFrame> latestFrame() const override;
    void setFrameCallback(std::function<void()> callback) override;

    // Takes the picture away; from here on only frames of `session` are shown. Any thread.
    void begin(std::uint64_t session);
    // While on hold, frames are dropped: what comes before a start position is reached is not to be seen.
    void setHold(std::uint64_t session, bool hold);
    // Seconds of the stream's clock at which the player's clock is 0; also for the frame that is shown.
    void setOrigin(std::uint64_t session, double origin);
    // When the session's first frame is due, on the stream's clock, whether it was shown or not.
    std::optional<double> firstTime(std::uint64_t session) const;
    void publish(std::uint64_t session, ui::VideoFrame frame);  // `time` on the stream's clock
    // What is drawn into the frames from here on, also into the one that is shown. Any thread.
    void setCues(SubtitleCues cues);
    // Blocks for as long as it takes to find the fonts, so that the first cue need not wait for them. Any thread.
    void prepareText() { painter_.prepare(); }

private:
    void tell();
    SubtitleCues cuesFor(const ui::VideoFrame& frame) const;

    mutable std::mutex mutex_;
    std::shared_ptr<const ui::VideoFrame> latest_;
    std::uint64_t session_ = 0;
    std::uint64_t number_ = 0;
    bool hold_ = false;
    double origin_ = 0;
    std::optional<double> firstTime_;
    SubtitleCues cues_;
    std::uint64_t cuesNumber_ = 0;  // of the frame that was shown when they came
    // The latest frame with its cues, drawn when somebody asks for it.
    mutable std::shared_ptr<const ui::VideoFrame> drawn_;
    mutable std::mutex drawingMutex_;
    mutable SubtitlePainter painter_;
    // Held while the callback runs, so that its removal waits for it; recursive, so that it may remove itself.
    std::recursive_mutex callbackMutex_;
    std::shared_ptr<const std::function<void()>> callback_;
};

// An appsink that publishes what it gets, without copying pixels; the caller owns a reference. Null when
// the element is missing.
GstElement* makeVideoSink(std::shared_ptr<FrameStore> store, std::uint64_t session);

}  // namespace quorel::gstreamer
