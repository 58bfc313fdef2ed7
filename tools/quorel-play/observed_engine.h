// An engine factory that lets somebody see each engine as it is made, before the player uses it: for what the
// player's own events do not tell, such as decoded pictures and subtitle lines. Main run loop's thread only.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "quorel/engine/engine.h"

namespace quorel::play {

class ObservedEngineFactory final : public EngineFactory {
public:
    using Observer = std::function<void(const std::shared_ptr<THEOplayer>&)>;

    ObservedEngineFactory(std::shared_ptr<EngineFactory> factory, Observer observer)
        : factory_(std::move(factory)), observer_(std::move(observer)) {}

    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration& configuration) override {
        auto player = factory_->makePlayer(frame, configuration);
        observer_(player);
        return player;
    }

private:
    const std::shared_ptr<EngineFactory> factory_;
    const Observer observer_;
};

}  // namespace quorel::play
