#include "quorel/sideload/source_validator.h"

#include <algorithm>
#include <string>

#include "quorel/foundation/log.h"
#include "quorel/foundation/url.h"

namespace quorel {
namespace {

// Null for an address that is in order.
const char* faultOf(const std::optional<URL>& src) {
    if (!src || !src->scheme()) return "[AVSubtitlesLoader] URL scheme is invalid or missing.";
    if (src->host().value_or("").empty()) return "[AVSubtitlesLoader] URL host is invalid or missing.";
    const std::string& text = src->absoluteString();
    const bool fits = std::all_of(text.begin(), text.end(), [](char c) {
        return CharacterSet::urlQueryAllowed.contains(static_cast<unsigned char>(c));
    });
    return fits ? nullptr : "[AVSubtitlesLoader] URL contains invalid characters.";
}

}  // namespace

std::optional<std::vector<std::shared_ptr<const TextTrackDescription>>> SourceValidator::validatedTracks(
    const SourceDescription& source) {
    std::vector<std::shared_ptr<const TextTrackDescription>> valid;
    if (source.textTracks) {
        for (const auto& track : *source.textTracks) {
            if (!track || track->kind != TextTrackKind::subtitles) continue;
            const std::optional<URL> src = track->src();
            if (const char* fault = faultOf(src)) {
                logLine(fault);
                logLine("[AVSubtitlesLoader] The provided subtitle source " +
                        (src ? src->absoluteString() : track->srcText()) + " is invalid.");
            } else {
                valid.push_back(track);
            }
        }
    }
    if (valid.empty()) {
        logLine("[AVSubtitlesLoader] Unable to find a valid TextTrackDescription for sideloading.");
        return std::nullopt;
    }
    return valid;
}

}  // namespace quorel
