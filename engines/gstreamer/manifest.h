// Private to this room. As much of HLS playlists (RFC 8216) as it takes to ask a server for their parts one by one.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/url.h"

namespace quorel::gstreamer {

struct Manifest {
    struct Segment {
        std::string uri;
        double start = 0;  // seconds from the beginning of the playlist
    };
    // Of a master playlist, in its order: its media playlists, but not those of subtitles, which are not loaded.
    std::vector<std::string> playlists;
    // Of a media playlist: first what every segment needs (initialisation sections, keys), then the segments.
    std::vector<std::string> prerequisites;
    std::vector<Segment> segments;
    bool isMaster = false;
    bool isComplete = false;  // EXT-X-ENDLIST

    // Absent when the text is no playlist, which begins with "#EXTM3U" (4.3.1.1).
    static std::optional<Manifest> parse(std::string_view text);
    // Index of the segment that `time` falls into; 0 when there is none.
    std::size_t segmentAt(double time) const;
};

}  // namespace quorel::gstreamer
