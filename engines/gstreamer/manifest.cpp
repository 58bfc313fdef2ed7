#include "engines/gstreamer/manifest.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "engines/gstreamer/failure.h"
#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

// The quoted URI attribute of a tag, if it has one (RFC 8216 4.2).
std::optional<std::string> uriAttribute(std::string_view attributes) {
    static constexpr std::string_view name = "URI=\"";
    const std::size_t at = attributes.find(name);
    if (at == std::string_view::npos) return {};
    const std::string_view value = attributes.substr(at + name.size());
    return std::string(value.substr(0, value.find('"')));
}

double seconds(std::string_view number) {
    return std::clamp(std::strtod(std::string(number.substr(0, 32)).c_str(), nullptr), 0.0, 1e6);
}

}  // namespace

std::optional<Manifest> Manifest::parse(std::string_view text) {
    if (!isPlaylist(text)) return {};
    Manifest manifest;
    double time = 0;
    double duration = 0;
    bool variantFollows = false;
    for (const std::string_view rawLine : split(text, '\n')) {
        const std::string_view line = trimmedWhitespaceAndNewlines(rawLine);
        const auto tag = [&line](std::string_view name) { return line.starts_with(name); };
        if (line.empty()) continue;
        if (tag("#EXTINF:")) {
            duration = seconds(line.substr(8));
        } else if (tag("#EXT-X-STREAM-INF:")) {
            manifest.isMaster = variantFollows = true;
        } else if (tag("#EXT-X-MEDIA:")) {
            const auto uri = uriAttribute(line);
            const bool loaded = line.find("TYPE=SUBTITLES") == std::string_view::npos;
            if (uri && loaded) manifest.playlists.push_back(*uri);
        } else if (tag("#EXT-X-MAP:") || tag("#EXT-X-KEY:")) {
            if (auto uri = uriAttribute(line)) manifest.prerequisites.push_back(std::move(*uri));
        } else if (tag("#EXT-X-ENDLIST")) {
            manifest.isComplete = true;
        } else if (line.front() != '#') {
            if (std::exchange(variantFollows, false)) {
                manifest.playlists.emplace_back(line);
            } else {
                manifest.segments.push_back({std::string(line), time});
                time += std::exchange(duration, 0);
            }
        }
    }
    return manifest;
}

std::size_t Manifest::segmentAt(double time) const {
    const auto after = std::upper_bound(segments.begin(), segments.end(), time,
                                        [](double t, const Segment& segment) { return t < segment.start; });
    return after == segments.begin() ? 0 : static_cast<std::size_t>(after - segments.begin()) - 1;
}

}  // namespace quorel::gstreamer
