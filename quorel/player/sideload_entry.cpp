#include "quorel/player/sideload_entry.h"

#include <utility>

namespace quorel {

void setSourceWithSubtitles(THEOplayer& player, std::optional<SourceDescription> source) {
    player.setSource(std::move(source));
}

}  // namespace quorel
