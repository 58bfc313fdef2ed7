// How the ad service behaves. A value.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engines/vast/export.h"

namespace quorel {

struct QUOREL_VISIBLE AdServiceOptions {
    // Seconds. None of them is waited for longer; content then plays.
    double requestTimeout = 5;  // for one answer of an ad server
    double tagTimeout = 8;      // for a tag with all its wrappers
    double loadTimeout = 6;     // from an ad's load to its first picture
    double stallTimeout = 4;    // for an ad that began and stands still
    double beaconTimeout = 5;   // for one tracking request
    double longestAd = 180;     // an ad that says no duration, or a longer one, ends here

    unsigned maximumWrappers = 5;   // in one chain
    unsigned maximumRequests = 20;  // for one tag

    // Of the files of an ad, those of these types, in lower case, are played...
    std::vector<std::string> types = {"video/mp4", "application/x-mpegurl", "application/vnd.apple.mpegurl",
                                      "video/webm"};
    // ...and of them the smallest that fills the picture, with at most this many kbit/s if there is one.
    int maximumBitrate = 4000;

    bool muted = false;                 // the preroll, which has no content to take its volume from
    double prefetch = 10;               // seconds before a break in which its tag is requested
    bool leavesPrerollToPlayer = true;  // the first tag at the "start" is played by somebody else

    std::string skipText = "Pular anúncio";
    // The viewer touched an ad: where that leads. Main thread.
    std::function<void(const std::string& url)> onClickThrough;
};

}  // namespace quorel
