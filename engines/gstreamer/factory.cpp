#include <algorithm>
#include <cmath>
#include <utility>

#include "engines/gstreamer/elements.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/player.h"

namespace quorel {
namespace {

class GStreamerEngineFactory final : public EngineFactory {
public:
    explicit GStreamerEngineFactory(std::shared_ptr<gstreamer::Services> services)
        : services_(std::move(services)) {}

    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration&) override {
        auto player = std::make_shared<gstreamer::Player>(services_);
        player->start(frame);
        return player;
    }

private:
    const std::shared_ptr<gstreamer::Services> services_;
};

// A limit that is no number counts as the least one.
double atLeast(double least, double limit) {
    return std::isnan(limit) ? least : std::max(least, limit);
}

}  // namespace

std::shared_ptr<EngineFactory> makeGStreamerEngineFactory(std::shared_ptr<RunLoop> mainLoop,
                                                          GStreamerOptions options) {
    gstreamer::initialiseGStreamer();
    options.stallTimeout = atLeast(1, options.stallTimeout);
    options.diagnosisTimeout = atLeast(0, options.diagnosisTimeout);
    return std::make_shared<GStreamerEngineFactory>(
        std::make_shared<gstreamer::Services>(std::move(mainLoop), options));
}

}  // namespace quorel
