// How a source with text tracks reaches an engine. Main run loop's thread only.
#pragma once

#include <optional>

#include "quorel/engine/engine.h"

namespace quorel {

// The controller calls this in place of THEOplayer::setSource, so that text tracks can be sideloaded. The source
// goes straight to the engine: which of its text tracks are shown is up to the engine.
void setSourceWithSubtitles(THEOplayer& player, std::optional<SourceDescription> source);

}  // namespace quorel
