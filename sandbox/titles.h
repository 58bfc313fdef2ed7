// The contents of the sandbox, and what the backend says of each: the SDK's own models, so that a reply cannot
// drift from what the SDK reads. Values and pure functions; any thread.
#pragma once

#include <string>
#include <vector>

#include "quorel/session/models.h"

namespace quorel::sandbox {

struct Title {
    enum class State { onDemand, onAir, paused, over, startsSoon };

    std::string id;
    std::string name;
    std::string about;     // one line for people
    std::string playlist;  // of the media directory, as in "sample/master.m3u8"
    std::vector<std::string>
        subtitles;  // language codes with a file "subtitles/<code>.srt" in the media directory
    State state = State::onDemand;
    double eventDate = 0;  // of live titles: when the stream begins, seconds since 1970

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

// The URL that plays the title.
std::string playbackURL(const Title& title, const std::string& baseURL);

}  // namespace quorel::sandbox
