// Decides which text tracks of a source can be sideloaded. Any thread.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "quorel/engine/source_description.h"
#include "quorel/sideload/export.h"

namespace quorel {

struct QUOREL_SIDELOAD_API SourceValidator {
    SourceValidator() = delete;

    // The tracks of kind `subtitles` whose address has a scheme, a host and no characters but those that may stand in
    // the query of a URL. Why another one is left out is logged. Absent, with a line in the log, when none is left.
    static std::optional<std::vector<std::shared_ptr<const TextTrackDescription>>> validatedTracks(
        const SourceDescription& source);
};

}  // namespace quorel
