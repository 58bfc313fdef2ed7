#include "quorel/sideload/sideload.h"

#include <utility>

#include "quorel/sideload/source_validator.h"

namespace quorel {
namespace {

void install(DeveloperSettings* settings, const SourceDescription& source,
             const std::shared_ptr<THEOplayer>& player, const SideloadServices& services) {
    auto tracks = SourceValidator::validatedTracks(source);
    if (settings == nullptr) return;
    settings->setManifestInterceptor(tracks ? AVSubtitlesLoader::make(std::move(*tracks), player, services)
                                            : nullptr);
}

}  // namespace

void setSourceWithSubtitles(const std::shared_ptr<THEOplayer>& player, std::optional<SourceDescription> source,
                            const SideloadServices& services) {
    if (source) {
        install(player->developerSettings(), *source, player, services);
    } else if (DeveloperSettings* settings = player->developerSettings()) {
        settings->setManifestInterceptor(nullptr);
    }
    player->setSource(std::move(source));
}

std::shared_ptr<CachingTask> createTaskWithSubtitles(Cache& cache, const SourceDescription& source,
                                                     const CachingParameters& parameters,
                                                     const SideloadServices& services) {
    install(cache.developerSettings(), source, nullptr, services);
    return cache.createTask(source, parameters);
}

}  // namespace quorel
