#include "sandbox/titles.h"

#include <map>
#include <string_view>

#include "quorel/foundation/date.h"
#include "quorel/foundation/text.h"

namespace quorel::sandbox {

namespace {

const std::vector<std::string> allLanguages = {"en", "es", "pt-br"};
constexpr std::string_view playerColor = "#ffc857";

// Offset and name of each tag; without an offset, a tag is for the start.
std::vector<AdsModel> tags(std::initializer_list<std::pair<std::optional<std::string>, std::string>> list) {
    std::vector<AdsModel> models;
    for (const auto& [offset, name] : list) models.push_back({"/ads/tag/" + name, offset});
    return models;
}

std::optional<AdsGroupModel> adsOf(const Title& title, const std::string& baseURL) {
    if (title.ads == AdsGroupModel()) return std::nullopt;
    AdsGroupModel ads = title.ads;
    for (auto* list : {&ads.vmap, &ads.googleIMA, &ads.vast}) {
        if (!*list) continue;
        for (AdsModel& ad : **list) {
            if (ad.url && ad.url->starts_with('/')) ad.url = baseURL + *ad.url;
        }
    }
    return ads;
}

std::string image(const std::string& baseURL, std::string_view name) {
    return baseURL + "/media/images/" + std::string(name) + ".png";
}

}  // namespace

std::vector<Title> sampleTitles(double now) {
    using State = Title::State;
    constexpr double hour = 3600;
    const auto live = [](std::string id, std::string name, std::string about, State state, double eventDate) {
        Title title;
        title.id = std::move(id);
        title.name = std::move(name);
        title.about = std::move(about);
        title.playlist = "sample/master.m3u8";
        title.state = state;
        title.eventDate = eventDate;
        return title;
    };
    Title ads{"ads", "Sandbox ads", "an ad before the content, two at 5 s, one at the end, with wrappers",
              "sample/master.m3u8", allLanguages};
    ads.ads.vast = tags({{std::nullopt, "inline"}, {"5", "pod"}});
    ads.ads.googleIMA = tags({{"end", "wrapper"}});
    Title adsSchedule{"ads-schedule", "Sandbox ads by a schedule", "a VMAP schedule: start, 10 s, middle, end",
                      "sample/master.m3u8", allLanguages};
    adsSchedule.ads.vmap = tags({{std::nullopt, "schedule"}});
    Title adsTrouble{"ads-trouble", "Sandbox ads in trouble", "ad servers and ads that fail in every way",
                     "sample/master.m3u8", allLanguages};
    adsTrouble.ads.vast = tags({{std::nullopt, "malformed"},
                                {"2", "empty"},
                                {"4", "none"},
                                {"6", "loop"},
                                {"8", "endless"},
                                {"10", "redirects"},
                                {"12", "missing-file"},
                                {"14", "undecodable"},
                                {"16", "stalls"},
                                {"18", "no-video"},
                                {"20", "inline?status=503"},
                                {"22", "inline?delay=60000"},
                                {"24", "inline?broken=cut"}});
    Title adsInserted{"ads-inserted",
                      "Sandbox with server-side ads",
                      "asks for an insertion service, of which there is none",
                      "sample/master.m3u8",
                      {}};
    adsInserted.insertion.emplace();
    adsInserted.insertion->enabled = true;
    adsInserted.insertion->contentSourceId = "sandbox";
    adsInserted.insertion->videoId = "sample";
    Title adsLive =
        live("ads-live", "Sandbox live with ads", "on air, with an ad before it", State::onAir, now - hour);
    adsLive.ads.vast = tags({{std::nullopt, "inline"}});
    return {
        {"sample", "Sandbox sample", "HLS in transport streams, three variants", "sample/master.m3u8",
         allLanguages},
        {"sample-aes", "Sandbox sample, encrypted", "the same, encrypted with AES-128", "sample-aes/master.m3u8",
         allLanguages},
        {"sample-fmp4", "Sandbox sample, fragmented MP4", "HLS in fragmented MP4, three variants",
         "sample-fmp4/master.m3u8", allLanguages},
        {"sample-audio", "Sandbox sample, two languages",
         "sound in renditions of their own: Portuguese (low beep) and English (high beep)",
         "sample-audio/master.m3u8", allLanguages},
        ads,
        adsSchedule,
        adsTrouble,
        adsInserted,
        adsLive,
        live("live", "Sandbox live", "on air: the recording of 'sample' goes round and round", State::onAir,
             now - hour),
        live("live-soon", "Sandbox live, starting soon", "begins an hour after the sandbox was started",
             State::startsSoon, now + hour),
        live("live-paused", "Sandbox live, paused", "paused: a pause screen, no stream", State::paused,
             now - hour),
        live("live-over", "Sandbox live, over", "over: an end screen, no stream", State::over, now - 3 * hour),
    };
}

std::string cdnURL(const Title& title, const std::string& baseURL) {
    return replacingAll(baseURL, "127.0.0.1", title.cdnHost);
}

std::string playbackURL(const Title& title, const std::string& baseURL) {
    if (title.isLive()) return cdnURL(title, baseURL) + "/live/" + title.id + "/master.m3u8";
    return baseURL + "/media/" + title.playlist;
}

PlayerConfigModel configReply(const Title& title, const std::string& baseURL) {
    PlayerConfigModel config;
    config.title = title.name;
    config.broadcasting = title.state == Title::State::onAir;
    config.videoOnDemand = !title.isLive();
    config.assets = {playbackURL(title, baseURL), image(baseURL, "thumbnail"), image(baseURL, "end"),
                     std::string(playerColor)};
    config.createdAt = Date{1'704'164'645.678};
    return config;
}

VideoDetailModel videoReply(const Title& title, const std::string& baseURL) {
    VideoDetailModel detail;
    detail.videoId = title.id;
    detail.assets.iframe = baseURL + "/#" + title.id;
    detail.assets.player = baseURL + "/#" + title.id;
    detail.assets.thumbnail = image(baseURL, "thumbnail");
    detail.assets.endScreen = image(baseURL, "end");
    detail.assets.hls = playbackURL(title, baseURL);
    detail.ads = adsOf(title, baseURL);
    detail.googleDAI = title.insertion;
    if (!title.subtitles.empty()) {
        detail.subtitlesLanguages = title.subtitles;
        detail.assets.availableSrt.emplace();
        for (const std::string& language : title.subtitles) {
            detail.assets.availableSrt->emplace(language, baseURL + "/media/subtitles/" + language + ".srt");
        }
    }
    return detail;
}

LiveStreamDetailModel liveStreamReply(const Title& title, const std::string& baseURL) {
    LiveStreamDetailModel detail;
    detail.assets = {image(baseURL, "thumbnail"), image(baseURL, "start-soon"), image(baseURL, "pause"),
                     image(baseURL, "end")};
    detail.ads = adsOf(title, baseURL);
    detail.googleDAI = title.insertion;
    detail.eventDate = static_cast<std::int64_t>(title.eventDate);
    detail.isShutdown = title.state == Title::State::over;
    detail.isPaused = title.state == Title::State::paused;
    detail.isLive = title.state == Title::State::onAir;
    return detail;
}

PlayerStatus statusReply(const Title& title, const std::string& baseURL, double now) {
    PlayerStatus status;
    status.assets = {image(baseURL, "thumbnail"), image(baseURL, "start-soon"), image(baseURL, "pause"),
                     image(baseURL, "end"), std::string(playerColor)};
    status.isLive = title.state == Title::State::onAir;
    status.isPaused = title.state == Title::State::paused;
    status.isShutdown = title.state == Title::State::over;
    status.serverTime = now;
    status.eventDate = title.eventDate;
    status.cdn = {cdnURL(title, baseURL), true, title.cdnUpdate};
    return status;
}

}  // namespace quorel::sandbox
