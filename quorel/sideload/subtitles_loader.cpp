#include "quorel/sideload/subtitles_loader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/url_error.h"
#include "quorel/sideload/connector.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/text_track_description.h"
#include "quorel/sideload/variant_playlist_parser.h"
#include "quorel/sideload/web_vtt_parser.h"

namespace quorel {
namespace {

using Request = std::shared_ptr<AVAssetResourceLoadingRequest>;

constexpr std::int64_t sevenDays = 604800;  // seconds

void answer(AVAssetResourceLoadingRequest& request, const URL& url, std::string_view body) {
    request.setResponse({url, 200, {}});
    if (const auto data = request.dataRequest()) data->respondWithData(body);
    request.finishLoading();
}

// Once the loader is gone, so is who would read of it.
void fail(AVAssetResourceLoadingRequest& request, const std::atomic<bool>& isQuiet, std::string_view message) {
    if (!isQuiet) logLine(message);
    request.finishLoadingWithError(URLError(URLError::Code::cannotParseResponse));
}

std::optional<URL> replacingFirst(const URL& url, std::string_view what, std::string_view with, bool isNeeded) {
    std::string text = url.absoluteString();
    const std::size_t at = text.find(what);
    if (at == std::string::npos && isNeeded) return std::nullopt;
    if (at != std::string::npos) text.replace(at, what.size(), with);
    return URL::parse(text);
}

}  // namespace

std::shared_ptr<AVSubtitlesLoader> AVSubtitlesLoader::make(Subtitles subtitles,
                                                           const std::shared_ptr<THEOplayer>& player,
                                                           const SideloadServices& services) {
    return std::shared_ptr<AVSubtitlesLoader>(new AVSubtitlesLoader(std::move(subtitles), player, services));
}

AVSubtitlesLoader::AVSubtitlesLoader(Subtitles subtitles, const std::shared_ptr<THEOplayer>& player,
                                     const SideloadServices& services)
    : subtitles_(std::move(subtitles)),
      session_(services.urlSession),
      transformer_(std::make_shared<SubtitlesTransformer>(services.urlSession, services.audioRoute)),
      synchronizer_(SubtitlesSynchronizer::make(
          player, services.webVTTParser ? services.webVTTParser : makeWebVTTParser(services.urlSession))) {
    synchronizer_->setDelegate(transformer_);
}

AVSubtitlesLoader::~AVSubtitlesLoader() {
    *isGone_ = true;
    for (const auto& weak : loading_) {
        if (const auto parser = weak.lock()) parser->cancel();
    }
}

void AVSubtitlesLoader::remember(const std::shared_ptr<PlaylistParser>& parser) {
    const std::lock_guard lock(mutex_);
    std::erase_if(loading_, [](const auto& weak) { return weak.expired(); });
    loading_.push_back(parser);
}

bool AVSubtitlesLoader::shouldWaitForLoadingOfRequestedResource(const Request& request) {
    if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
        const std::optional<URL> url = request->request();
        logLine({"[AVSubtitlesLoader] loadingRequest", url ? url->absoluteString() : ""});
    }
    return dispatch(request);
}

bool AVSubtitlesLoader::shouldWaitForRenewalOfRequestedResource(const Request& request) {
    if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
        const std::optional<URL> url = request->request();
        logLine({"[AVSubtitlesLoader] renewalRequest", url ? url->absoluteString() : ""});
    }
    return dispatch(request);
}

bool AVSubtitlesLoader::dispatch(const Request& request) {
    const std::optional<URL> url = request->request();
    const std::optional<std::string> scheme = url ? url->scheme() : std::nullopt;
    if (scheme == "interceptedm3u8") return handleMaster(request, *url);
    if (scheme == "variantm3u8") return handleVariant(request, *url);
    if (scheme == "subtitlesm3u8") return handleSubtitle(request, *url);
    return false;
}

bool AVSubtitlesLoader::handleMaster(const Request& request, const URL& url) {
    const std::optional<URL> reverted = replacingFirst(url, *url.scheme() + "://", "https://", true);
    if (!reverted) return false;
    const auto parser = MasterPlaylistParser::make(*reverted, session_);
    remember(parser);
    parser->parse(subtitles_,
                  [request, reverted = *reverted, isGone = isGone_](const std::optional<std::string>& playlist) {
                      if (playlist) return answer(*request, reverted, *playlist);
                      fail(*request, *isGone, "[AVSubtitlesLoader] ERROR: Couldn't find manifest data");
                  });
    return true;
}

bool AVSubtitlesLoader::handleVariant(const Request& request, const URL& url) {
    const std::optional<URL> reverted = replacingFirst(url, "variantm3u8://", "", false);
    if (!reverted) {
        logLine("[AVSubtitlesLoader] ERROR: Variant manifest is invalid");
        request->finishLoadingWithError(URLError(URLError::Code::unsupportedURL));
        return false;
    }
    const auto parser = VariantPlaylistParser::make(*reverted, session_);
    remember(parser);
    parser->parse([request, reverted = *reverted, isGone = isGone_,
                   duration = variantTotalDuration_](const std::shared_ptr<VariantPlaylistParser>& parsed) {
        if (!parsed || !parsed->manifestData()) {
            return fail(*request, *isGone, "[AVSubtitlesLoader] ERROR: Couldn't find variant data");
        }
        *duration = parsed->totalPlayListDuration();
        answer(*request, reverted, *parsed->manifestData());
    });
    return true;
}

bool AVSubtitlesLoader::handleSubtitle(const Request& request, const URL& url) {
    const std::optional<URL> reverted = replacingFirst(url, "subtitlesm3u8://", "", false);
    if (!reverted) {
        logLine("[AVSubtitlesLoader] ERROR: Failed to revert subtitle URL!");
        return false;
    }
    const std::string playlist = subtitlePlaylist(*reverted);
    if (SideloadedSubtitleConnector::SHOW_DEBUG_LOGS) {
        logLine("[AVSubtitlesLoader] SUBTITLE: +++++++");
        logLine(playlist);
        logLine("[AVSubtitlesLoader] SUBTITLE: ------");
    }
    answer(*request, *reverted, playlist);
    return true;
}

std::string AVSubtitlesLoader::segmentURI(const URL& subtitle) {
    const std::string& address = subtitle.absoluteString();
    const auto found = std::find_if(subtitles_.begin(), subtitles_.end(),
                                    [&](const auto& track) { return track->src() == subtitle; });
    const auto track = found == subtitles_.end() ? nullptr : *found;
    const TextTrackFormat format =
        track ? track->format.value_or(TextTrackFormat::WebVTT) : TextTrackFormat::WebVTT;
    const auto timed = std::dynamic_pointer_cast<const SSTextTrackDescription>(track);
    if (!timed && format == TextTrackFormat::WebVTT) return address;

    std::optional<WebVttTimestamp> timestamp;
    if (timed && (timed->vttTimestamp.pts || timed->vttTimestamp.localTime)) timestamp = timed->vttTimestamp;
    // A track that was restarted with a measured map asks again, and must find that map.
    if (timed && timed->label) {
        if (auto correction = synchronizer_->correction(*timed->label)) timestamp = std::move(correction);
    }
    return transformer_->urlFor(address, format, std::move(timestamp));
}

std::string AVSubtitlesLoader::subtitlePlaylist(const URL& subtitle) {
    const std::string segment = segmentURI(subtitle);
    const double total = *variantTotalDuration_;
    if (!(std::abs(total) < 0x1p63)) fatal("The duration of a media playlist is no number of seconds.");
    const std::string seconds = std::to_string(total == 0 ? sevenDays : static_cast<std::int64_t>(total));
    return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n#EXT-X-TARGETDURATION:" +
           seconds + "\n#EXTINF:" + seconds + ".000\n" + segment + "\n#EXT-X-ENDLIST";
}

}  // namespace quorel
