#include "sandbox/titles.h"

namespace quorel::sandbox {

namespace {

const std::vector<std::string> allLanguages = {"en", "es", "pt-br"};
constexpr std::string_view playerColor = "#ffc857";

std::string image(const std::string& baseURL, std::string_view name) {
    return baseURL + "/media/images/" + std::string(name) + ".png";
}

}  // namespace

std::vector<Title> sampleTitles(double now) {
    using State = Title::State;
    constexpr double hour = 3600;
    const auto live = [](std::string id, std::string name, std::string about, State state, double eventDate) {
        return Title{std::move(id), std::move(name), std::move(about), "sample/master.m3u8", {}, state, eventDate};
    };
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
        live("live", "Sandbox live",
             "on air; the stream itself is the recording of 'sample', not a sliding window", State::onAir,
             now - hour),
        live("live-soon", "Sandbox live, starting soon", "begins an hour after the sandbox was started",
             State::startsSoon, now + hour),
        live("live-paused", "Sandbox live, paused", "paused: a pause screen, no stream", State::paused,
             now - hour),
        live("live-over", "Sandbox live, over", "over: an end screen, no stream", State::over, now - 3 * hour),
    };
}

std::string playbackURL(const Title& title, const std::string& baseURL) {
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
    status.cdn = {baseURL, true, 1};
    return status;
}

}  // namespace quorel::sandbox
