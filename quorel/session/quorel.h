// The SDK's session: who the application is, and the services that the rest of the SDK works with.
//
//   Quorel::shared().install(PlatformServices::standard(loop, makeGStreamerEngineFactory(loop)));
//   Quorel::shared().initialize(token, std::nullopt, false);
//   auto player = QuorelPlayerViewController::make();
//
// Everything here belongs to the main run loop's thread and takes no lock. Nothing is persisted: a host gives the
// token and the ids again after every process start.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/engine.h"
#include "quorel/session/export.h"
#include "quorel/session/platform_services.h"

namespace quorel {

class QUOREL_SESSION_API Quorel {
public:
    // The process's session. It exists from first use to the end of the process; install({}) lets go of what it
    // holds.
    static Quorel& shared();

    // A session of one's own, for tests and for programs that talk to more than one backend. It must outlive the
    // players made with it and their loads.
    Quorel() = default;
    explicit Quorel(PlatformServices services);
    Quorel(const Quorel&) = delete;
    Quorel& operator=(const Quorel&) = delete;

    // Comes before everything else, initialize() included; replaces what was installed. No player may be loading
    // at that moment.
    void install(PlatformServices services);
    // A session without services stops the process here, since nothing can be played with it.
    const PlatformServices& services() const;
    // For what a timer still brings when a host has taken its services back.
    bool hasServices() const { return services_.mainLoop != nullptr; }

    // Stores the token and the id (an absent one clears the earlier one), sets up Google Cast for the id when
    // there is one, and registers the *.ttf files that stand directly in the services' resource directory. A font
    // that does not register is passed over. May be called again: the next request uses the new token.
    // `isDevMode` changes nothing.
    void initialize(std::string token, std::optional<std::string> applicationId, bool isDevMode);

    // The analytics session id. Despite its name, `token` is that id and not the bearer token.
    const std::optional<std::string>& getSessionId() const { return ssid_; }
    void setSessionId(std::string token);

    // A new engine, with the ad service attached and without autoplay. The session keeps no reference to it. Services
    // of which a player needs one that is null stop the process here, with its name.
    std::shared_ptr<THEOplayer> createPlayer();

    // The Google Cast receiver application id. An empty text counts as present.
    const std::optional<std::string>& applicationId() const { return applicationId_; }
    // The bearer token of every backend request.
    const std::optional<std::string>& quorelToken() const { return quorelToken_; }
    const std::optional<std::string>& ssid() const { return ssid_; }

private:
    void registerFonts();

    PlatformServices services_;
    std::optional<std::string> applicationId_;
    std::optional<std::string> quorelToken_;
    std::optional<std::string> ssid_;
};

}  // namespace quorel
