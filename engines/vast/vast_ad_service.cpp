#include "engines/vast/vast_ad_service.h"

#include <utility>

#include "engines/vast/ad_resolver.h"
#include "engines/vast/beacons.h"
#include "engines/vast/breaks_player.h"
#include "engines/vast/ima_service.h"
#include "quorel/ui/geometry.h"

namespace quorel {
namespace {

using vast::AdServices;

class IntegrationFactory final : public GoogleIMAIntegrationFactory {
public:
    std::shared_ptr<Integration> createIntegration(const std::shared_ptr<THEOplayer>&,
                                                   const IMASettings&) override {
        return std::make_shared<vast::AdIntegration>();
    }
};

class BreaksEngineFactory final : public EngineFactory {
public:
    explicit BreaksEngineFactory(std::shared_ptr<const AdServices> services) : services_(std::move(services)) {}
    std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                           const THEOplayerConfiguration& configuration) override {
        auto player =
            std::make_shared<vast::BreaksPlayer>(services_, services_->engines->makePlayer(frame, configuration));
        player->listen();
        return player;
    }

private:
    const std::shared_ptr<const AdServices> services_;
};

class Service final : public VastAdService {
public:
    explicit Service(std::shared_ptr<const AdServices> services)
        : ima_(vast::makeIMAFactory(services)),
          engines_(std::make_shared<BreaksEngineFactory>(std::move(services))) {}

    std::shared_ptr<IMAFactory> imaFactory() const override { return ima_; }
    std::shared_ptr<GoogleIMAIntegrationFactory> integrationFactory() const override { return integrations_; }
    std::shared_ptr<EngineFactory> engineFactory() const override { return engines_; }

private:
    const std::shared_ptr<IMAFactory> ima_;
    const std::shared_ptr<EngineFactory> engines_;
    const std::shared_ptr<GoogleIMAIntegrationFactory> integrations_ = std::make_shared<IntegrationFactory>();
};

}  // namespace

std::shared_ptr<VastAdService> VastAdService::make(std::shared_ptr<RunLoop> mainLoop,
                                                   std::weak_ptr<UrlSession> session,
                                                   std::shared_ptr<EngineFactory> engines,
                                                   AdServiceOptions options) {
    auto services = std::make_shared<AdServices>();
    services->beacons = std::make_shared<vast::Beacons>(*mainLoop, session, options.beaconTimeout);
    services->resolver =
        std::make_shared<vast::AdResolver>(*mainLoop, std::move(session), services->beacons, options);
    services->loop = std::move(mainLoop);
    services->engines = std::move(engines);
    services->options = std::move(options);
    return std::make_shared<Service>(std::move(services));
}

}  // namespace quorel
