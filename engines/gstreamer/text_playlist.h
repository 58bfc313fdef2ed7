// Private to this room. The media playlist of a subtitle rendition (RFC 8216 4.3.2, 4.3.3). Values; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorel::gstreamer {

struct SubtitlePlaylist {
    struct Segment {
        std::string uri;                  // as it stands
        std::uint64_t number = 0;         // its media sequence number
        std::uint64_t discontinuity = 0;  // its discontinuity sequence number
        double start = 0;                 // seconds from the beginning of this playlist
        double duration = 0;              // seconds
        double end() const { return start + duration; }
    };
    std::vector<Segment> segments;
    double targetDuration = 0;  // seconds; 0 where it is not said
    bool isComplete = false;    // EXT-X-ENDLIST
    // Why its segments cannot be read, for a log; empty when they can.
    std::string unsupported;

    // Absent for a text that is no playlist. A segment without a readable duration counts as one of the target's.
    static std::optional<SubtitlePlaylist> parse(std::string_view text);
    double duration() const { return segments.empty() ? 0 : segments.back().end(); }
};

}  // namespace quorel::gstreamer
