// Stands between the media framework and the network: answers the requests that an engine brings under three private
// schemes, so that subtitle files appear as renditions of the stream.
//
//   "interceptedm3u8"  the source's master playlist   -> the same with the subtitle renditions added
//   "variantm3u8"      a media playlist               -> the same with absolute URIs
//   "subtitlesm3u8"    a subtitle file                -> a playlist made here, whose one segment is that file
//
//   player->developerSettings()->setManifestInterceptor(AVSubtitlesLoader::make(tracks, player, services));
//
// Requests come on the engine's queue; answers are given there or on the URL session's thread. Any thread may release
// the loader: playlists that are being loaded are given up, and the service for subtitles ends.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "quorel/engine/audio_route.h"
#include "quorel/engine/media_framework.h"
#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/foundation/url.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"
#include "quorel/sideload/playlist_parser.h"
#include "quorel/sideload/subtitles_synchronizer.h"
#include "quorel/sideload/subtitles_transformer.h"

namespace quorel {

// What sideloading needs of the process it lives in.
struct QUOREL_VISIBLE SideloadServices {
    std::weak_ptr<UrlSession> urlSession = {};
    std::shared_ptr<WebVTTParser> webVTTParser = {};  // null: that of web_vtt_parser.h
    std::shared_ptr<AudioRoute> audioRoute = {};      // null: sound never leaves for the network
};

class QUOREL_SIDELOAD_API AVSubtitlesLoader final : public ManifestInterceptor {
public:
    using Subtitles = std::vector<std::shared_ptr<const TextTrackDescription>>;

    // Starts the service for subtitles. The player's tracks are watched, unless it is null. Of `subtitles`, each must
    // have an address.
    static std::shared_ptr<AVSubtitlesLoader> make(Subtitles subtitles, const std::shared_ptr<THEOplayer>& player,
                                                   const SideloadServices& services);
    ~AVSubtitlesLoader() override;

    std::string customScheme() const override { return "interceptedm3u8://"; }

    // False for any other scheme and for what cannot be reverted to a URL; such a request is left as it is, but for a
    // broken variant's, which ends with URLError::unsupportedURL. A source comes back as https, whatever it was.
    // The byte range that a request may ask for is ignored. A playlist that cannot be had ends with
    // URLError::cannotParseResponse.
    bool shouldWaitForLoadingOfRequestedResource(
        const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override;
    bool shouldWaitForRenewalOfRequestedResource(
        const std::shared_ptr<AVAssetResourceLoadingRequest>& request) override;

    // Seconds; of the media playlist loaded last. A playlist of subtitles claims to be as long, in whole seconds. One
    // that does not fit 64 bits is fatal there.
    double variantTotalDuration() const { return *variantTotalDuration_; }
    SubtitlesTransformer& transformer() { return *transformer_; }
    SubtitlesSynchronizer& synchronizer() { return *synchronizer_; }

private:
    using Request = std::shared_ptr<AVAssetResourceLoadingRequest>;

    AVSubtitlesLoader(Subtitles subtitles, const std::shared_ptr<THEOplayer>& player,
                      const SideloadServices& services);

    bool dispatch(const Request& request);
    bool handleMaster(const Request& request, const URL& url);
    bool handleVariant(const Request& request, const URL& url);
    bool handleSubtitle(const Request& request, const URL& url);
    std::string subtitlePlaylist(const URL& subtitle);
    std::string segmentURI(const URL& subtitle);
    void remember(const std::shared_ptr<PlaylistParser>& parser);

    const Subtitles subtitles_;
    const std::weak_ptr<UrlSession> session_;
    // Shared with completions, which must not keep the loader.
    const std::shared_ptr<std::atomic<double>> variantTotalDuration_ = std::make_shared<std::atomic<double>>(0.0);
    const std::shared_ptr<std::atomic<bool>> isGone_ = std::make_shared<std::atomic<bool>>(false);
    const std::shared_ptr<SubtitlesTransformer> transformer_;
    const std::shared_ptr<SubtitlesSynchronizer> synchronizer_;
    std::mutex mutex_;
    std::vector<std::weak_ptr<PlaylistParser>> loading_;
};

}  // namespace quorel
