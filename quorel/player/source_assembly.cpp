#include "quorel/player/source_assembly.h"

#include <array>
#include <string_view>
#include <utility>

#include "quorel/foundation/text.h"

namespace quorel {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 5> languageLabels{{
    {"pt-br", "Português"},
    {"en", "Inglês"},
    {"es", "Espanhol"},
    {"fr", "Francês"},
    {"zh", "Chinês"},
}};

}  // namespace

TextTracks makeTextTracks(const std::map<std::string, std::string>& availableSrt) {
    TextTracks tracks;
    tracks.reserve(availableSrt.size());
    for (const auto& [code, url] : availableSrt) {
        tracks.push_back(std::make_shared<TextTrackDescription>(url, code, true, TextTrackKind::subtitles,
                                                                languageLabel(code), TextTrackFormat::SRT));
    }
    return tracks;
}

std::string languageLabel(const std::string& code) {
    const std::string lowercased = asciiLowercased(code);
    for (const auto& [known, label] : languageLabels) {
        if (lowercased == known) return std::string(label);
    }
    return code;
}

ChromecastMetadataDescription makeChromecastMetadata(const PlayerConfigModel& config) {
    ChromecastMetadataImage image;
    image.src = config.assets.thumbnail;
    image.width = 420;
    image.height = 240;
    ChromecastMetadataDescription metadata;
    metadata.images = std::vector<ChromecastMetadataImage>{image};
    metadata.title = config.title;
    return metadata;
}

SourceDescription makeSource(const PlayerConfigModel& config, std::optional<TextTracks> textTracks,
                             std::vector<AdDescription> ads) {
    SourceDescription description;
    description.source.src = config.assets.hls;
    description.source.type = "application/x-mpegurl";
    description.textTracks = std::move(textTracks);
    description.ads = std::move(ads);
    description.metadata = makeChromecastMetadata(config);
    return description;
}

SourceDescription makeInsertedSource(const PlayerConfigModel& config, ServerSideAdInsertion insertion,
                                     std::optional<TextTracks> textTracks) {
    SourceDescription description;
    description.source = GoogleDAITypedSource(std::move(insertion));
    description.textTracks = std::move(textTracks);
    description.metadata = makeChromecastMetadata(config);
    return description;
}

}  // namespace quorel
