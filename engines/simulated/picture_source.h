// Private to this room. Where the hosts get the simulated picture from.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "engines/simulated/test_picture.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/video_view.h"

namespace quorel::simulated {

// The engine says what is to be seen, any thread asks for it. A picture is painted only when it is asked for.
class PictureSource final : public ui::VideoFrameSource {
public:
    void show(double position, const ui::Color& color);
    void clear();

    std::shared_ptr<const ui::VideoFrame> latestFrame() const override;
    void setFrameCallback(std::function<void()> callback) override;

private:
    struct Content {
        double position = 0;
        ui::Color color;
    };
    void tell();

    mutable std::mutex mutex_;
    std::optional<Content> content_;
    mutable std::shared_ptr<const ui::VideoFrame> painted_;
    std::uint64_t number_ = 0;
    // Held while the callback runs, which may replace itself.
    std::recursive_mutex callbackMutex_;
    std::shared_ptr<const std::function<void()>> callback_;
};

}  // namespace quorel::simulated
