#include "quorel/session/platform_services.h"

#include <utility>

#include "quorel/engine/null_services.h"
#include "quorel/foundation/fatal.h"

namespace quorel {

PlatformServices PlatformServices::standard(std::shared_ptr<RunLoop> mainLoop,
                                            std::shared_ptr<EngineFactory> engineFactory) {
    if (!mainLoop) fatal("PlatformServices::standard() needs a main loop");
    PlatformServices services;
    services.imaIntegrationFactory = makeNullIMAIntegrationFactory();
    services.imaFactory = makeNullIMAFactory(*mainLoop);
    services.castContext = std::make_shared<NullCastContext>();
    services.notificationCenter = std::make_shared<NotificationCenter>();
    services.vendorIdentifier = std::make_shared<InstallationIdentifier>();
    services.background = std::make_shared<BackgroundExecutor>();
    services.urlSession = std::make_shared<UrlSession>();
    services.engineFactory = std::move(engineFactory);
    services.mainLoop = std::move(mainLoop);
    return services;
}

}  // namespace quorel
