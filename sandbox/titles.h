// The contents of the sandbox, and what the backend says of each: the SDK's own models, so that a reply cannot
// drift from what the SDK reads. Values and pure functions; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "quorel/session/models.h"

namespace quorel::sandbox {

// One content.
struct Title {
    // What the backend says of it; all but the first are live titles.
    enum class State { onDemand, onAir, paused, over, startsSoon };

    std::string id;
    std::string name;
    std::string about;     // one line for people
    std::string playlist;  // of the media directory, as in "sample/master.m3u8"; what a live title is made from
    std::vector<std::string>
        subtitles;  // language codes with a file "subtitles/<code>.srt" in the media directory
    State state = State::onDemand;
    // Of live titles: when the stream begins, in seconds since 1970; the name of the server that its CDN is; the
    // stamp of that choice.
    double eventDate = 0;
    std::string cdnHost = "127.0.0.1";
    std::int64_t cdnUpdate = 1;
    AdsGroupModel ads = {};  // of an ad server; a URL that begins with "/" is the sandbox's
    std::optional<GoogleDAIModel> insertion = std::nullopt;

    bool isLive() const { return state != State::onDemand; }
    bool operator==(const Title&) const = default;
};

// What every sandbox starts with. `now` in seconds since 1970.
std::vector<Title> sampleTitles(double now);

// The replies. `baseURL` is the sandbox's, without a slash at the end; `now` in seconds since 1970.
PlayerConfigModel configReply(const Title& title, const std::string& baseURL);
VideoDetailModel videoReply(const Title& title, const std::string& baseURL);
LiveStreamDetailModel liveStreamReply(const Title& title, const std::string& baseURL);
PlayerStatus statusReply(const Title& title, const std::string& baseURL, double now);

// The sandbox by the name of the title's CDN.
std::string cdnURL(const Title& title, const std::string& baseURL);
// The URL that plays the title: a file, or the channel of a live title.
std::string playbackURL(const Title& title, const std::string& baseURL);

}  // namespace quorel::sandbox
