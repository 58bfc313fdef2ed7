// The door to sideloaded subtitles: gives an engine a source whose text tracks are files beside an HLS stream.
//
//   SourceDescription film;
//   film.source = TypedSource{.src = "https://cdn.example/film.m3u8", .type = "application/x-mpegurl"};
//   film.textTracks = {{std::make_shared<TextTrackDescription>("https://subs.example/pt.srt", "pt", true,
//                           TextTrackKind::subtitles, "Português", TextTrackFormat::SRT)}};
//   setSourceWithSubtitles(player, film, {.urlSession = session});
//
// On the engine's thread. Nothing here fails: tracks that cannot be sideloaded are logged and left out, and the video
// plays without them.
#pragma once

#include <memory>
#include <optional>

#include "quorel/engine/media_framework.h"
#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/sideload/connector.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/subtitles_loader.h"

namespace quorel {

// In place of THEOplayer::setSource. Where the source has tracks that can be sideloaded (source_validator.h), a new
// loader becomes the engine's manifest interceptor, and the old one goes; otherwise the engine has no interceptor.
// The source goes to the engine as it is. An engine without developer settings plays without the tracks.
QUOREL_SIDELOAD_API void setSourceWithSubtitles(const std::shared_ptr<THEOplayer>& player,
                                                std::optional<SourceDescription> source,
                                                const SideloadServices& services);

// The same for a media cache, in place of Cache::createTask, whose result it gives.
QUOREL_SIDELOAD_API std::shared_ptr<CachingTask> createTaskWithSubtitles(Cache& cache,
                                                                         const SourceDescription& source,
                                                                         const CachingParameters& parameters,
                                                                         const SideloadServices& services);

}  // namespace quorel
