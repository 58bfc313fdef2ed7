#include "quorel/sideload/timestamp_map.h"

#include <cstddef>
#include <vector>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

constexpr std::string_view mapStart = "X-TIMESTAMP-MAP=";

struct Place {
    std::size_t begin;  // behind the "="
    std::size_t end;    // of the "\n"
};

std::optional<Place> placeOfMap(std::string_view text) {
    const std::size_t start = text.find(mapStart);
    if (start == std::string_view::npos) return std::nullopt;
    const std::size_t begin = start + mapStart.size();
    const std::size_t end = text.find('\n', begin);
    if (end == std::string_view::npos) return std::nullopt;
    return Place{begin, end};
}

}  // namespace

std::optional<WebVttTimestamp> TimestampStringUtils::extract(std::string_view text) {
    const std::optional<Place> place = placeOfMap(text);
    if (!place) return std::nullopt;
    std::string_view value = text.substr(place->begin, place->end - place->begin);
    if (value.ends_with('\r')) value.remove_suffix(1);
    WebVttTimestamp timestamp;
    for (const std::string_view piece : split(value, ',')) {
        const std::size_t colon = piece.find(':');
        const std::string_view name = piece.substr(0, colon);
        const std::string_view rest = colon == std::string_view::npos ? "" : piece.substr(colon + 1);
        // Of a piece without a colon the name is its last part, too.
        if (name == "MPEGTS") timestamp.pts = piece.substr(piece.rfind(':') + 1);
        if (name == "LOCAL") timestamp.localTime = rest;
    }
    if (!timestamp.pts || !timestamp.localTime) return std::nullopt;
    return timestamp;
}

std::optional<std::string> TimestampStringUtils::override(std::string_view text, std::string_view pts,
                                                          std::string_view localTime) {
    const std::optional<Place> place = placeOfMap(text);
    if (!place) {
        logLine("[AVSubtitlesLoader] ERROR: Failed to override timestamp.");
        return std::nullopt;
    }
    std::string result;
    result.reserve(text.size() + pts.size() + localTime.size());
    result.append(text.substr(0, place->begin)).append("MPEGTS:").append(pts);
    result.append(",LOCAL:").append(localTime).append(text.substr(place->end));
    return result;
}

}  // namespace quorel
