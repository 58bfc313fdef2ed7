#include <map>
#include <utility>
#include <variant>

#include "engines/simulated/engine_core.h"
#include "engines/simulated/script.h"
#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/fatal.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/ui/geometry.h"

namespace quorel {

struct SimulatedEngineFactory::Scripts {
    SimulatedScript standard;
    std::map<std::string, SimulatedScript> byUrl;

    const SimulatedScript& scriptFor(const SourceDescription& source) const {
        std::string key = source.source.src;
        if (const auto& ssai = source.source.ssai) {
            const auto* live = std::get_if<GoogleDAILiveConfiguration>(&*ssai);
            key = live != nullptr ? live->assetKey : std::get<GoogleDAIVodConfiguration>(*ssai).videoID;
        }
        const auto found = byUrl.find(key);
        return found == byUrl.end() ? standard : found->second;
    }
};

SimulatedEngineFactory::SimulatedEngineFactory(std::shared_ptr<RunLoop> loop)
    : loop_(std::move(loop)), scripts_(std::make_shared<Scripts>()) {
    if (!loop_) fatal("SimulatedEngineFactory needs a run loop");
}

void SimulatedEngineFactory::setScript(const std::string& url, SimulatedScript script) {
    scripts_->byUrl.insert_or_assign(url, std::move(script));
}

void SimulatedEngineFactory::setDefaultScript(SimulatedScript script) {
    scripts_->standard = std::move(script);
}

std::shared_ptr<THEOplayer> SimulatedEngineFactory::makePlayer(std::optional<ui::Rect> frame,
                                                               const THEOplayerConfiguration&) {
    auto engine = simulated::EngineCore::make(
        loop_, [scripts = scripts_](const SourceDescription& source) { return scripts->scriptFor(source); },
        frame);
    std::erase_if(made_, [](const auto& made) { return made.expired(); });
    made_.push_back(engine);
    return engine;
}

std::vector<std::shared_ptr<SimulatedEngine>> SimulatedEngineFactory::players() const {
    std::vector<std::shared_ptr<SimulatedEngine>> alive;
    for (const auto& made : made_) {
        if (auto engine = made.lock()) alive.push_back(std::move(engine));
    }
    return alive;
}

std::shared_ptr<SimulatedEngine> SimulatedEngineFactory::latest() const {
    return made_.empty() ? nullptr : made_.back().lock();
}

}  // namespace quorel
