#include "engines/gstreamer/first_timestamp.h"

#include <algorithm>

namespace quorel::gstreamer {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t packetSize = 188;
// Pictures begin within the first tenths of a second. What has come by then decides.
constexpr std::size_t mostBytes = std::size_t{1} << 20;
constexpr double mpegClock = 90000;

std::uint64_t number(Bytes bytes, std::size_t at, std::size_t length) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < length; ++i) value = value << 8 | bytes[at + i];
    return value;
}

constexpr std::uint32_t box(const char (&type)[5]) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | static_cast<std::uint8_t>(type[i]);
    return value;
}

// Calls function(type, content) for each whole box; gives the bytes read.
template <class Function>
std::size_t forEachBox(Bytes bytes, Function function) {
    std::size_t at = 0;
    while (bytes.size() - at >= 8) {
        std::size_t header = 8;
        std::uint64_t size = number(bytes, at, 4);
        if (size == 1) {
            if (bytes.size() - at < 16) break;
            header = 16;
            size = number(bytes, at + 8, 8);
        }
        if (size < header || size > bytes.size() - at) break;
        const auto type = static_cast<std::uint32_t>(number(bytes, at + 4, 4));
        function(type, bytes.subspan(at + header, static_cast<std::size_t>(size) - header));
        at += static_cast<std::size_t>(size);
    }
    return at;
}

struct Stamp {
    bool isVideo;
    double seconds;
};

// Of a packet of a transport stream that begins a PES packet.
std::optional<Stamp> stampOf(Bytes packet) {
    const bool begins = (packet[1] & 0x40) != 0;
    const bool scrambledOrBroken = (packet[1] & 0x80) != 0 || (packet[3] & 0xC0) != 0;
    if (!begins || scrambledOrBroken || (packet[3] & 0x10) == 0) return {};
    std::size_t at = 4;
    if ((packet[3] & 0x20) != 0) at += 1 + packet[4];
    if (at + 14 > packetSize || number(packet, at, 3) != 1) return {};
    const std::uint8_t stream = packet[at + 3];
    const bool isVideo = (stream & 0xF0) == 0xE0;
    const bool isAudio = (stream & 0xE0) == 0xC0 || stream == 0xBD;
    const bool hasStamp = (packet[at + 6] & 0xC0) == 0x80 && (packet[at + 7] & 0x80) != 0;
    if ((!isVideo && !isAudio) || !hasStamp) return {};
    const std::uint64_t pts = (number(packet, at + 9, 1) >> 1 & 7) << 30 |
                              (number(packet, at + 10, 2) >> 1) << 15 | number(packet, at + 12, 2) >> 1;
    return Stamp{isVideo, static_cast<double>(pts) / mpegClock};
}

}  // namespace

bool FirstTimestamp::feed(Bytes bytes) {
    if (over_ || video_) return false;
    const std::size_t room = mostBytes - bytes_.size();
    bytes_.insert(bytes_.end(), bytes.begin(),
                  bytes.begin() + static_cast<std::ptrdiff_t>(std::min(room, bytes.size())));
    if (bytes_.size() < packetSize + 1) return true;
    if (bytes_[0] == 0x47 && bytes_[packetSize] == 0x47) {
        readPackets();
    } else {
        readBoxes();
    }
    over_ = over_ || video_ || bytes_.size() >= mostBytes;
    if (over_) bytes_ = {};
    return !over_;
}

void FirstTimestamp::readPackets() {
    for (; bytes_.size() - read_ >= packetSize && !video_; read_ += packetSize) {
        const Bytes packet = Bytes(bytes_).subspan(read_, packetSize);
        if (packet[0] != 0x47) {
            over_ = true;
            return;
        }
        const auto stamp = stampOf(packet);
        if (!stamp) continue;
        if (stamp->isVideo) {
            video_ = stamp->seconds;
        } else if (!other_) {
            other_ = stamp->seconds;
        }
    }
}

void FirstTimestamp::readBoxes() {
    read_ += forEachBox(Bytes(bytes_).subspan(read_), [this](std::uint32_t type, Bytes content) {
        if (type == box("moov")) {
            tracks_.clear();
            readMovie(content);
        } else if (type == box("moof")) {
            readFragment(content);
        } else if (type == box("mdat")) {
            over_ = over_ || other_ || video_;
        }
    });
}

void FirstTimestamp::readMovie(Bytes movie) {
    forEachBox(movie, [this](std::uint32_t type, Bytes content) {
        if (type != box("trak")) return;
        Track track;
        const auto inMedia = [&](std::uint32_t part, Bytes bytes) {
            // Both begin with version and flags; version 1 has times of 64 bits.
            const std::size_t at = !bytes.empty() && bytes[0] == 1 ? 20 : 12;
            if (part == box("mdhd") && bytes.size() >= at + 4) {
                track.timescale = static_cast<std::uint32_t>(number(bytes, at, 4));
            } else if (part == box("hdlr") && bytes.size() >= 12) {
                track.isVideo = number(bytes, 8, 4) == box("vide");
            }
        };
        forEachBox(content, [&](std::uint32_t part, Bytes bytes) {
            const std::size_t at = !bytes.empty() && bytes[0] == 1 ? 20 : 12;
            if (part == box("tkhd") && bytes.size() >= at + 4) {
                track.id = static_cast<std::uint32_t>(number(bytes, at, 4));
            } else if (part == box("mdia")) {
                forEachBox(bytes, inMedia);
            }
        });
        if (track.timescale != 0) tracks_.push_back(track);
    });
}

void FirstTimestamp::readFragment(Bytes fragment) {
    forEachBox(fragment, [this](std::uint32_t type, Bytes content) {
        if (type != box("traf")) return;
        std::optional<std::uint64_t> id;
        std::optional<std::uint64_t> time;
        forEachBox(content, [&](std::uint32_t part, Bytes bytes) {
            if (part == box("tfhd") && bytes.size() >= 8) id = number(bytes, 4, 4);
            if (part == box("tfdt") && bytes.size() >= 8) {
                const bool isLong = bytes[0] == 1;
                if (bytes.size() >= (isLong ? 12u : 8u)) time = number(bytes, 4, isLong ? 8 : 4);
            }
        });
        const auto track =
            std::find_if(tracks_.begin(), tracks_.end(), [&](const Track& t) { return t.id == id; });
        if (!time || track == tracks_.end()) return;
        auto& stamp = track->isVideo ? video_ : other_;
        if (!stamp) stamp = static_cast<double>(*time) / track->timescale;
    });
}

}  // namespace quorel::gstreamer
