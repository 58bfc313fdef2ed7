// From what the backend says of a content to what the engine is asked to play. Pure functions; any thread.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/source_description.h"
#include "quorel/player/export.h"
#include "quorel/session/models.h"

namespace quorel {

using TextTracks = std::vector<std::shared_ptr<const TextTrackDescription>>;

// One SRT subtitle track for each entry (language code to URL), in the map's order, every one a default track.
QUOREL_PLAYER_API TextTracks makeTextTracks(const std::map<std::string, std::string>& availableSrt);

// The language's name as viewers read it, in Portuguese; the code itself for languages that are not in the table.
QUOREL_PLAYER_API std::string languageLabel(const std::string& code);

// What a Cast receiver shows of the content: its thumbnail as a 420 by 240 image, and its title.
QUOREL_PLAYER_API ChromecastMetadataDescription makeChromecastMetadata(const PlayerConfigModel& config);

// The plain HLS source of a content.
QUOREL_PLAYER_API SourceDescription makeSource(const PlayerConfigModel& config,
                                               std::optional<TextTracks> textTracks,
                                               std::vector<AdDescription> ads);

// The source of a content whose stream the insertion service makes, ads included.
QUOREL_PLAYER_API SourceDescription makeInsertedSource(const PlayerConfigModel& config,
                                                       ServerSideAdInsertion insertion,
                                                       std::optional<TextTracks> textTracks);

}  // namespace quorel
