// Private to this room. The channels of the live titles, and who may switch them.
//
// Any thread.
#pragma once

#include <map>
#include <mutex>
#include <string>

#include "quorel/foundation/json.h"
#include "sandbox/answer.h"
#include "sandbox/live_channel.h"
#include "sandbox/media_files.h"
#include "sandbox/titles.h"

namespace quorel::sandbox {

class LiveDesk {
public:
    explicit LiveDesk(const MediaFiles& files) : files_(files) {}  // which outlive it

    // The title's channel follows its state and its CDN from `now` on, in seconds since 1970. A title that is over
    // ends its stream; all others have one.
    void follow(const Title& title, double now);

    // What is at "/live/<id>/master.m3u8", "/live/<id>/<rendition>/playlist.m3u8" and ".../<number>.ts"; 404 for all
    // else. `rendition` is empty for the first.
    Answer answer(const Title& title, const std::string& rendition, const std::string& file,
                  const std::string& baseURL, double now) const;

    // The title as a control request wants it: {"state": "onAir"|"paused"|"over"|"startsSoon", "eventDate": seconds
    // since 1970, or "eventIn": seconds from now, "cdn": the name of the server}, each optional. Throws Error.
    static Title changed(Title title, const JSONObject& wanted, double now);
    JSONObject describe(const Title& title, double now) const;

private:
    struct Channel {
        Title title;
        std::map<std::string, LiveChannel, std::less<>> renditions;
    };
    Channel makeChannel(const Title& title) const;
    std::string text(const std::string& path) const;  // of a media file; empty when there is none

    const MediaFiles& files_;
    mutable std::mutex mutex_;
    std::map<std::string, Channel, std::less<>> channels_;  // by the title's id
};

}  // namespace quorel::sandbox
