#include "tools/quorel-soak/house.h"

#include <algorithm>
#include <utility>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/vast/options.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_error.h"
#include "quorel/foundation/url_protocol.h"
#include "quorel/foundation/url_request.h"
#include "quorel/foundation/uuid.h"
#include "quorel/session/platform_services.h"
#include "quorel/session/quorel.h"
#include "sandbox/sandbox_protocol.h"
#include "tools/quorel-play/observed_engine.h"

namespace quorel::soak {

namespace {

class Refusal final : public UrlProtocol {
public:
    bool canInit(const URLRequest&) const override { return true; }
    void startLoading(const URLRequest&, std::shared_ptr<UrlProtocolClient> client) override {
        client->didFail(URLError(URLError::Code::cancelled));
    }
};

}  // namespace

House::House() {
    backend.start();
    port = static_cast<std::uint16_t>(URL::parse(backend.baseURL())->port().value_or(0));
    GStreamerOptions options;
    options.audio = GStreamerOptions::Audio::none;
    options.stallTimeout = 6;
    options.diagnosisTimeout = 2;
    auto services = PlatformServices::standard(loop, nullptr);
    AdServiceOptions adOptions;
    adOptions.muted = true;
    ads = VastAdService::make(loop, services.urlSession, makeGStreamerEngineFactory(loop, options),
                              std::move(adOptions));
    services.imaFactory = ads->imaFactory();
    services.imaIntegrationFactory = ads->integrationFactory();
    services.engineFactory = std::make_shared<play::ObservedEngineFactory>(
        ads->engineFactory(), [this](const std::shared_ptr<THEOplayer>& engine) {
            if (viewer) viewer->engineMade(engine);
        });
    services.urlSession->registerProtocol(
        std::make_shared<sandbox::SandboxProtocol>(*URL::parse(backend.baseURL()), network));
    Quorel::shared().install(std::move(services));
    Quorel::shared().initialize(backend.token(), std::nullopt, false);
    Quorel::shared().setSessionId(UUID::random().string());
}

void House::leave() {
    if (!viewer) return;
    viewer->leave();
    left.push_back(std::exchange(viewer, nullptr));
}

void House::refuseLoads() {
    UrlSession::Configuration refusing;
    refusing.protocols.push_back(std::make_shared<Refusal>());
    PlatformServices services = Quorel::shared().services();
    services.urlSession = std::make_shared<UrlSession>(std::move(refusing));
    Quorel::shared().install(std::move(services));
}

bool House::allGone() const {
    // Each is asked, since each notes from when on its events come late.
    return std::count_if(left.begin(), left.end(), [](const auto& one) { return !one->gone(); }) == 0;
}

void House::tearDown() {
    ads = nullptr;
    backend.stop();
    loop = nullptr;
}

}  // namespace quorel::soak
