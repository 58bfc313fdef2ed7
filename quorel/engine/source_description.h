// What an engine is asked to play: a source with its subtitles, ads and Cast metadata.
//
//   SourceDescription film;
//   film.source = TypedSource{.src = "https://cdn.example/film.m3u8", .type = "application/x-mpegurl"};
//   player->setSource(film);
//
// Values, but for text tracks, which are shared because they may be of a derived kind.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/engine/export.h"
#include "quorel/foundation/url.h"

namespace quorel {

// How requests to another origin go out. No engine here looks at it.
enum class CrossOrigin { anonymous, useCredentials };

// A live stream of the ad insertion service, by its asset key.
struct QUOREL_VISIBLE GoogleDAILiveConfiguration {
    std::string assetKey = {};
    std::string apiKey = {};
    std::optional<std::string> authToken = {};
    std::optional<std::string> streamActivityMonitorID = {};
    std::optional<std::vector<std::pair<std::string, std::string>>> adTagParameters = {};
    bool operator==(const GoogleDAILiveConfiguration&) const = default;
};

// An on-demand stream of the ad insertion service, by its content source and video id.
struct QUOREL_VISIBLE GoogleDAIVodConfiguration {
    std::string videoID = {};
    std::string contentSourceID = {};
    std::string apiKey = {};
    std::optional<std::string> authToken = {};
    std::optional<std::string> streamActivityMonitorID = {};
    std::optional<std::vector<std::pair<std::string, std::string>>> adTagParameters = {};
    bool operator==(const GoogleDAIVodConfiguration&) const = default;
};

using ServerSideAdInsertion = std::variant<GoogleDAILiveConfiguration, GoogleDAIVodConfiguration>;

// One stream: its address and what an engine may want to know of it.
struct QUOREL_VISIBLE TypedSource {
    std::string src = {};   // URL; empty for server-side ad insertion
    std::string type = {};  // MIME type, "application/x-mpegurl" for HLS
    std::optional<std::string> drm = {};
    std::optional<CrossOrigin> crossOrigin = {};
    std::optional<ServerSideAdInsertion> ssai = {};
    std::optional<bool> hlsDateRange = {};
    std::optional<std::vector<std::pair<std::string, std::string>>> headers = {};
    std::optional<std::string> cmcd = {};
    bool operator==(const TypedSource&) const = default;
};

// A source whose stream the ad insertion service makes.
inline TypedSource GoogleDAITypedSource(ServerSideAdInsertion ssai) {
    TypedSource source = {};
    source.ssai = std::move(ssai);
    return source;
}

// As in the HTML standard (4.8.11.11.1).
enum class TextTrackKind { subtitles, captions, descriptions, chapters, metadata };
// Of the file; sideloading converts SRT.
enum class TextTrackFormat { WebVTT, SRT };

// A subtitle file beside the stream. srcText() is the text it was made from, src() the URL that text parses to.
class QUOREL_VISIBLE TextTrackDescription {
public:
    TextTrackDescription(std::string source, std::string languageTag,
                         std::optional<bool> defaultTrack = std::nullopt,
                         std::optional<TextTrackKind> trackKind = std::nullopt,
                         std::optional<std::string> trackLabel = std::nullopt,
                         std::optional<TextTrackFormat> fileFormat = std::nullopt)
        : srclang(std::move(languageTag)),
          isDefault(defaultTrack),
          kind(trackKind),
          label(std::move(trackLabel)),
          format(fileFormat),
          srcText_(std::move(source)) {}
    virtual ~TextTrackDescription() = default;

    std::optional<URL> src() const { return URL::parse(srcText_); }
    const std::string& srcText() const { return srcText_; }

    std::string srclang;
    std::optional<bool> isDefault;
    std::optional<TextTrackKind> kind;
    std::optional<std::string> label;
    std::optional<TextTrackFormat> format;

private:
    std::string srcText_;
};

// One ad tag. `timeOffset` is "start", "end", seconds, "hh:mm:ss" or a percentage.
class QUOREL_VISIBLE GoogleImaAdDescription {
public:
    explicit GoogleImaAdDescription(std::string source, std::optional<std::string> offset = std::nullopt)
        : timeOffset(std::move(offset)), srcText_(std::move(source)) {}

    std::optional<URL> src() const { return URL::parse(srcText_); }
    const std::string& srcText() const { return srcText_; }

    std::optional<std::string> timeOffset;
    bool operator==(const GoogleImaAdDescription&) const = default;

private:
    std::string srcText_;
};

using AdDescription = std::variant<GoogleImaAdDescription>;

// A picture that a Cast receiver shows.
struct QUOREL_VISIBLE ChromecastMetadataImage {
    std::string src = {};
    int width = 0;   // pixels
    int height = 0;  // pixels
    bool operator==(const ChromecastMetadataImage&) const = default;
};

// How a Cast receiver lays the metadata out.
enum class ChromecastMetadataType { generic, movie, tvShow };

// What a Cast receiver shows of the content.
struct QUOREL_VISIBLE ChromecastMetadataDescription {
    std::optional<std::vector<ChromecastMetadataImage>> images = {};
    std::optional<std::string> releaseDate = {};
    std::optional<int> releaseYear = {};  // as 2024
    std::optional<std::string> title = {};
    std::optional<std::string> subtitle = {};
    std::optional<ChromecastMetadataType> type = {};
    std::optional<std::vector<std::string>> metadataKeys = {};
    bool operator==(const ChromecastMetadataDescription&) const = default;
};

// What setSource() takes.
struct QUOREL_VISIBLE SourceDescription {
    TypedSource source = {};
    std::optional<std::vector<std::shared_ptr<const TextTrackDescription>>> textTracks = {};
    std::optional<std::vector<AdDescription>> ads = {};
    std::optional<std::string> poster = {};
    std::optional<ChromecastMetadataDescription> metadata = {};
    std::optional<std::string> abr = {};

    // The sources to choose from: the one source, or none for one that is empty.
    std::vector<TypedSource> sources() const {
        if (source.src.empty() && !source.ssai) return {};
        return {source};
    }
    bool operator==(const SourceDescription&) const = default;  // text tracks by identity
};

}  // namespace quorel
