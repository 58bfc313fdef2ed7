// The values that the backend's JSON replies decode into, and encode back to. Plain values; any thread.
//
//   auto config = JSONDecoder().decode<PlayerConfigModel>(body);   // throws JSONError
//
// Keys equal field names. A field that is no std::optional is required: a body without it, or with another type
// in its place, is refused as a whole. URLs stay text until they are used.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "quorel/foundation/date.h"
#include "quorel/foundation/json_coding.h"
#include "quorel/session/export.h"

namespace quorel {

// Reply of "players/configuration/<id>".
struct QUOREL_VISIBLE PlayerConfigModel {
    // What is played, and the images around it.
    struct Assets {
        std::string hls;        // URL of the HLS multivariant playlist
        std::string thumbnail;  // URL of the image that Cast shows
        std::string endScreen;
        std::string playerColor;
        QUOREL_JSON_FIELDS(Assets, hls, thumbnail, endScreen, playerColor)
        bool operator==(const Assets&) const = default;
    };

    std::string title;
    bool broadcasting = false;
    bool videoOnDemand = false;  // false for live content
    Assets assets;
    Date createdAt;
    QUOREL_JSON_FIELDS(PlayerConfigModel, title, broadcasting, videoOnDemand, assets, createdAt)
    bool operator==(const PlayerConfigModel&) const = default;
};

// The images of a live title as the status names them. URLs as text; the colour as "#rrggbb".
struct QUOREL_VISIBLE StatusAssets {
    std::string thumbnail;
    std::string startSoonScreen;  // URL of the image shown before the stream starts
    std::string pauseScreen;      // URL of the image shown while the stream is paused
    std::string endingScreen;     // URL of the image shown after the stream's end
    std::string playerColor;
    QUOREL_JSON_FIELDS(StatusAssets, thumbnail, startSoonScreen, pauseScreen, endingScreen, playerColor)
    bool operator==(const StatusAssets&) const = default;
};

// Which content delivery network a live title is to be played from.
struct QUOREL_VISIBLE CDN {
    std::string cdn;  // "https://" and the host, without a trailing slash
    bool autoCdn = false;
    std::int64_t lastUpdate = 0;  // changes with the choice of the CDN
    QUOREL_JSON_FIELDS(CDN, cdn, autoCdn, lastUpdate)
    bool operator==(const CDN&) const = default;
};

// Reply of "live-streams/<id>/status".
struct QUOREL_VISIBLE PlayerStatus {
    StatusAssets assets;
    bool isLive = false;
    bool isPaused = false;
    bool isShutdown = false;
    double serverTime = 0;  // seconds since 1970-01-01T00:00:00Z; nobody reads it
    double eventDate = 0;   // when the stream begins, in seconds since 1970-01-01T00:00:00Z
    CDN cdn;
    QUOREL_JSON_FIELDS(PlayerStatus, assets, isLive, isPaused, isShutdown, serverTime, eventDate, cdn)
    bool operator==(const PlayerStatus&) const = default;
};

// One ad tag and its place.
struct QUOREL_VISIBLE AdsModel {
    std::optional<std::string> url;     // of the ad tag
    std::optional<std::string> offset;  // when the ad comes: "start", seconds, ...
    QUOREL_JSON_FIELDS(AdsModel, url, offset)
    bool operator==(const AdsModel&) const = default;
};

// Ad tags by the kind of their answer.
struct QUOREL_VISIBLE AdsGroupModel {
    std::optional<std::vector<AdsModel>> vmap;
    std::optional<std::vector<AdsModel>> googleIMA;
    std::optional<std::vector<AdsModel>> vast;
    QUOREL_JSON_FIELDS(AdsGroupModel, vmap, googleIMA, vast)
    bool operator==(const AdsGroupModel&) const = default;
};

// Dynamic ad insertion.
struct QUOREL_VISIBLE GoogleDAIModel {
    bool enabled = false;
    std::optional<std::string> type;
    std::optional<std::string> apiKey;
    std::optional<std::string> assetKey;         // of a live stream
    std::optional<std::string> contentSourceId;  // of on-demand content
    std::optional<std::string> videoId;          // of on-demand content
    QUOREL_JSON_FIELDS(GoogleDAIModel, enabled, type, apiKey, assetKey, contentSourceId, videoId)
    bool operator==(const GoogleDAIModel&) const = default;
};

// The images of a live title. URLs as text.
struct QUOREL_VISIBLE QuorelLiveStreamAssets {
    std::string thumbnail;
    std::string startSoonScreen;
    std::string pauseScreen;
    std::string endingScreen;
    QUOREL_JSON_FIELDS(QuorelLiveStreamAssets, thumbnail, startSoonScreen, pauseScreen, endingScreen)
    bool operator==(const QuorelLiveStreamAssets&) const = default;
};

// Reply of "live-streams/<id>".
struct QUOREL_VISIBLE LiveStreamDetailModel {
    QuorelLiveStreamAssets assets;
    std::optional<std::int64_t> eventDate;  // whole seconds, unlike the status's
    std::optional<bool> isShutdown;
    bool isPaused = false;  // required, unlike its neighbours
    std::optional<bool> isLive;
    std::optional<AdsGroupModel> ads;
    std::optional<GoogleDAIModel> googleDAI;
    QUOREL_JSON_FIELDS(LiveStreamDetailModel, assets, eventDate, isShutdown, isPaused, isLive, ads, googleDAI)
    bool operator==(const LiveStreamDetailModel&) const = default;
};

// What belongs to an on-demand title. URLs as text.
struct QUOREL_VISIBLE VideoDetailAssets {
    std::string iframe;
    std::string player;
    std::string thumbnail;
    std::string endScreen;
    std::optional<std::string> hls;                                  // what is played comes from the configuration
    std::optional<std::map<std::string, std::string>> availableSrt;  // language code to URL of an SRT file
    QUOREL_JSON_FIELDS(VideoDetailAssets, iframe, player, thumbnail, endScreen, hls, availableSrt)
    bool operator==(const VideoDetailAssets&) const = default;
};

// Reply of "videos/<id>".
struct QUOREL_VISIBLE VideoDetailModel {
    VideoDetailAssets assets;
    std::string videoId;
    std::optional<std::vector<std::string>> subtitlesLanguages;
    std::optional<AdsGroupModel> ads;
    std::optional<GoogleDAIModel> googleDAI;
    QUOREL_JSON_FIELDS(VideoDetailModel, assets, videoId, subtitlesLanguages, ads, googleDAI)
    bool operator==(const VideoDetailModel&) const = default;
};

}  // namespace quorel
