// Private to this room. What went wrong, as far as the pipeline can tell.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quorel::gstreamer {

struct Failure {
    enum class Kind {
        setup,        // an element that every source needs is missing; `message` names it
        noAddress,    // nothing to load
        adInsertion,  // a stream that an ad insertion service would have to make
        stalled,      // nothing came for `seconds`
        noMedia,      // what was loaded holds neither pictures nor sound
        format,       // a stream that no installed decoder takes; `formats` says which
        source,       // loading failed
        output,       // the sound output failed
        other,
    };
    Kind kind = Kind::other;
    std::string message{};  // GStreamer's own
    int httpStatus = 0;     // 0: not known
    double seconds = 0;
    std::vector<std::string> formats{};
    std::string explanation{};  // a whole sentence, when one is known already
    bool isVague = false;       // the explanation says what failed, but not why
    bool hadPlayed = false;     // the beginning had been loaded and could be played
    double position = 0;        // seconds of the presentation; everything before it had been loaded
};

// A sentence a person can act on, from what the pipeline knows; `url` is the source's.
std::string describe(const Failure& failure, const std::string& url);
// "The stream <url> was not found (404)." and the like; `what` is the beginning: "The stream <url>".
std::string describeStatus(const std::string& what, int status);
// What to say of a reply that should have been a playlist and begins otherwise than isPlaylist() wants.
std::string describeNoPlaylist(const std::string& what, std::string_view body);
bool isPlaylist(std::string_view body);

}  // namespace quorel::gstreamer
