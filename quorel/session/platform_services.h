// What the SDK needs of the process it lives in: the main loop, URL loading, an engine, and the small services
// that a platform has or has not. A host fills one of these and hands it to Quorel::install().
//
//   auto loop = std::make_shared<RealRunLoop>();
//   auto services = PlatformServices::standard(loop, makeGStreamerEngineFactory(loop));
//   Quorel::shared().install(services);
//
// Tests fill it with a ManualRunLoop, a UrlSession with their own protocols, and the simulated engine.
#pragma once

#include <memory>
#include <string>

#include "quorel/engine/audio_route.h"
#include "quorel/engine/engine.h"
#include "quorel/foundation/dispatch.h"
#include "quorel/foundation/executor.h"
#include "quorel/foundation/notification.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url_session.h"
#include "quorel/session/export.h"
#include "quorel/session/installation_identifier.h"

namespace quorel {

// Makes a font file usable by its family name in this process.
class QUOREL_VISIBLE FontRegistry {
public:
    virtual ~FontRegistry() = default;
    virtual bool registerFont(const std::string& path) = 0;  // false when the file is no font
};

// A player needs all of it but castContext, audioRoute and fontRegistry; its analytics need vendorIdentifier. Begin with
// standard(), and replace what is to be another.
struct QUOREL_SESSION_API PlatformServices {
    std::shared_ptr<RunLoop> mainLoop;
    std::shared_ptr<Executor> background;  // decoding and other work off the main thread
    std::shared_ptr<UrlSession> urlSession;
    std::shared_ptr<EngineFactory> engineFactory;
    std::shared_ptr<GoogleIMAIntegrationFactory> imaIntegrationFactory;
    std::shared_ptr<IMAFactory> imaFactory;
    std::shared_ptr<GCKCastContext> castContext;
    std::shared_ptr<NotificationCenter> notificationCenter;
    std::shared_ptr<VendorIdentifier> vendorIdentifier;
    std::shared_ptr<AudioRoute> audioRoute;      // null: sound never leaves for a receiver on the network
    std::shared_ptr<FontRegistry> fontRegistry;  // null: fonts are the host's own business
    std::string resourceDirectory;               // holds the library's fonts and images; empty for none

    // A background executor of two threads, a plain URL session, an identifier of this installation, no ad service,
    // no Cast. The loop is not null.
    static PlatformServices standard(std::shared_ptr<RunLoop> mainLoop,
                                     std::shared_ptr<EngineFactory> engineFactory);
};

}  // namespace quorel
