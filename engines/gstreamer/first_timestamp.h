// Private to this room. Reads the first time stamp from the beginning of a stream: the PTS of an MPEG-2 transport
// stream (ISO/IEC 13818-1 2.4.3) or the tfdt box of fragmented MP4 (ISO/IEC 14496-12 8.8.12), in seconds.
//
// GStreamer's demuxers make times of their own, which begin where playback does; the time maps of WebVTT files
// (RFC 8216 3.5) speak of those in the stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quorel::gstreamer {

class FirstTimestamp {
public:
    // The stream's bytes, from its beginning on and in pieces of any size. False when no more are wanted.
    bool feed(std::span<const std::uint8_t> bytes);

    // That of the pictures, as soon as it has come.
    std::optional<double> ofVideo() const { return video_; }
    // That of whatever came first, for streams without pictures.
    std::optional<double> ofAny() const { return video_ ? video_ : other_; }

private:
    void readPackets();
    void readBoxes();
    void readMovie(std::span<const std::uint8_t> box);
    void readFragment(std::span<const std::uint8_t> box);

    struct Track {
        std::uint32_t id = 0;
        std::uint32_t timescale = 0;
        bool isVideo = false;
    };
    std::vector<std::uint8_t> bytes_;
    std::size_t read_ = 0;  // of bytes_
    std::vector<Track> tracks_;
    std::optional<double> video_;
    std::optional<double> other_;
    bool over_ = false;
};

}  // namespace quorel::gstreamer
