#include "quorel/session/quorel.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/ui/geometry.h"

namespace quorel {

Quorel& Quorel::shared() {
    // Never destroyed: what it holds has threads, and must not outlast half of the process's other statics.
    static Quorel& session = *new Quorel;
    return session;
}

Quorel::Quorel(PlatformServices services) : services_(std::move(services)) {}

void Quorel::install(PlatformServices services) {
    // The old services leave as one value, in the reverse order of their fields: the URL session before the
    // executors that its completions post to.
    const PlatformServices old = std::exchange(services_, std::move(services));
}

const PlatformServices& Quorel::services() const {
    if (!services_.mainLoop) {
        fatal(
            "Quorel::install() must be called, with a main loop, before a player is used, and install({}) after "
            "the last one");
    }
    return services_;
}

void Quorel::initialize(std::string token, std::optional<std::string> applicationId, bool /*isDevMode*/) {
    logLine("Quorel SDK initializing...");
    quorelToken_ = std::move(token);
    applicationId_ = std::move(applicationId);
    if (applicationId_) {
        logLine({"Initializing Chromecast", *applicationId_});
        GCKCastOptions options;
        options.discoveryCriteria.applicationID = *applicationId_;
        options.stopReceiverApplicationWhenEndingSession = true;
        if (services_.castContext) services_.castContext->setSharedInstanceWithOptions(options);
    }
    registerFonts();
}

void Quorel::registerFonts() {
    if (!services_.fontRegistry || services_.resourceDirectory.empty()) return;
    std::vector<std::string> fonts;
    std::error_code error;
    std::filesystem::directory_iterator entry(services_.resourceDirectory, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->path().extension() == ".ttf" && entry->is_regular_file(ignored)) {
            fonts.push_back(entry->path().string());
        }
    }
    std::sort(fonts.begin(), fonts.end());
    for (const std::string& font : fonts) services_.fontRegistry->registerFont(font);
}

void Quorel::setSessionId(std::string token) {
    ssid_ = std::move(token);
}

std::shared_ptr<THEOplayer> Quorel::createPlayer() {
    const PlatformServices& platform = services();
    // What a player asks for sooner or later: better to stop here, with a name, than somewhere behind a null pointer.
    const std::pair<const char*, bool> needed[] = {
        {"background", platform.background != nullptr},
        {"urlSession", platform.urlSession != nullptr},
        {"engineFactory", platform.engineFactory != nullptr},
        {"imaIntegrationFactory", platform.imaIntegrationFactory != nullptr},
        {"imaFactory", platform.imaFactory != nullptr},
        {"notificationCenter", platform.notificationCenter != nullptr},
    };
    for (const auto& [name, isThere] : needed) {
        if (!isThere) {
            fatal(std::string("the installed PlatformServices have no ") + name +
                  "; PlatformServices::standard() gives all that a player needs");
        }
    }
    const THEOplayerConfiguration configuration = THEOplayerConfigurationBuilder().build();
    std::shared_ptr<THEOplayer> player = platform.engineFactory->makePlayer(std::nullopt, configuration);
    IMASettings settings;
    settings.language = "pt-BR";
    player->addIntegration(platform.imaIntegrationFactory->createIntegration(player, settings));
    player->setAutoplay(false);
    return player;
}

}  // namespace quorel
