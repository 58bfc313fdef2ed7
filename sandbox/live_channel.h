// A live stream that is made from a recording by the clock: the recording goes round and round, one segment after the
// other becomes available when it would have been recorded, and the playlist shows the last minute of them.
//
//   LiveChannel channel(Recording::parse(playlistText));
//   channel.playlist(addressOf, now);        // "#EXTM3U ... #EXT-X-MEDIA-SEQUENCE:4711 ..."
//   channel.recordedFile("4711.ts", now);    // "segment-06.ts"
//
// The segments keep the time stamps of the recording, so that a discontinuity marks each turn of it (RFC 8216 4.3.2.3).
// What there is depends on the clock alone: a sandbox that is started again goes on where it would be. Times are
// seconds since 1970. One thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorel::sandbox {

// The segments of a media playlist.
struct Recording {
    // One segment of the recording.
    struct Segment {
        std::string file;
        double duration = 0;  // seconds
        bool operator==(const Segment&) const = default;
    };
    std::vector<Segment> segments;

    // What is no segment is passed over.
    static Recording parse(std::string_view playlist);
    double duration() const;  // seconds, of one turn
    bool operator==(const Recording&) const = default;
};

class LiveChannel {
public:
    static constexpr double epoch = 1'700'000'000;    // when all channels began
    static constexpr std::int64_t windowLength = 30;  // segments

    // `recording` has at least one segment, and none without a duration.
    explicit LiveChannel(Recording recording);

    // Segments that become available from then on are on this server; until the first switch names are relative.
    void switchCDN(std::string host, double now);
    // The stream is over: the playlist keeps the segments that it has and gets its end.
    void end(double now);
    void goOn() { end_.reset(); }

    // The media playlist. `addressOf` gives what stands before a segment's name on a server that was switched to,
    // as "http://localhost:8090/live/show/360/".
    using AddressOf = std::function<std::string(const std::string& host)>;
    std::string playlist(const AddressOf& addressOf, double now) const;
    // The recording's file of the segment with this name, "<number>.ts"; absent before it is available and once it
    // has left the window for as long as a player may still want it (RFC 8216 6.2.2).
    std::optional<std::string> recordedFile(std::string_view name, double now) const;
    std::int64_t lastSequence(double now) const;  // of the newest segment; -1 before there is one

private:
    double startOf(std::int64_t sequence) const;  // seconds since 1970
    const Recording::Segment& segment(std::int64_t sequence) const;
    std::int64_t turnOf(std::int64_t sequence) const;

    const Recording recording_;
    const double turn_;                                        // seconds
    std::vector<double> starts_;                               // seconds, of each segment in a turn
    std::vector<std::pair<std::int64_t, std::string>> hosts_;  // from which sequence number on
    std::optional<double> end_;
};

}  // namespace quorel::sandbox
