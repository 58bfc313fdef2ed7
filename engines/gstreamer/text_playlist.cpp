#include "engines/gstreamer/text_playlist.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "quorel/foundation/text.h"

namespace quorel::gstreamer {
namespace {

// The text behind "#TAG:" when the line is that tag.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view tag) {
    if (!line.starts_with(tag)) return {};
    line.remove_prefix(tag.size());
    if (line.empty()) return line;
    if (line.front() != ':') return {};
    return line.substr(1);
}

template <class Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc{}) return {};
    return value;
}

// A hundred years, so that sums stay sums.
double seconds(std::string_view text, double otherwise) {
    const auto value = number<double>(text);
    return value && *value >= 0 && *value < 3.2e9 ? *value : otherwise;
}

}  // namespace

std::optional<SubtitlePlaylist> SubtitlePlaylist::parse(std::string_view text) {
    static constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    if (!text.starts_with("#EXTM3U")) return {};
    SubtitlePlaylist playlist;
    std::optional<double> duration;
    std::uint64_t number_ = 0;
    std::uint64_t discontinuity = 0;
    double start = 0;
    for (std::string_view line : split(text, '\n')) {
        line = trimmedWhitespaceAndNewlines(line);
        if (line.empty()) continue;
        if (line.front() != '#') {
            Segment segment{std::string(line), number_++, discontinuity, start,
                            duration.value_or(playlist.targetDuration)};
            start = segment.end();
            duration.reset();
            playlist.segments.push_back(std::move(segment));
        } else if (const auto length = valueOf(line, "#EXTINF")) {
            duration = seconds(*length, playlist.targetDuration);
        } else if (const auto target = valueOf(line, "#EXT-X-TARGETDURATION")) {
            playlist.targetDuration = seconds(*target, 0);
        } else if (const auto first = valueOf(line, "#EXT-X-MEDIA-SEQUENCE")) {
            if (playlist.segments.empty()) number_ = number<std::uint64_t>(*first).value_or(0);
        } else if (const auto count = valueOf(line, "#EXT-X-DISCONTINUITY-SEQUENCE")) {
            if (playlist.segments.empty()) discontinuity = number<std::uint64_t>(*count).value_or(0);
        } else if (valueOf(line, "#EXT-X-DISCONTINUITY")) {
            ++discontinuity;
        } else if (valueOf(line, "#EXT-X-ENDLIST")) {
            playlist.isComplete = true;
        } else if (const auto key = valueOf(line, "#EXT-X-KEY")) {
            if (key->find("METHOD=NONE") == key->npos) playlist.unsupported = "they are encrypted";
        } else if (valueOf(line, "#EXT-X-MAP")) {
            playlist.unsupported = "they are packed in MP4";
        } else if (valueOf(line, "#EXT-X-BYTERANGE")) {
            playlist.unsupported = "they are ranges of one file";
        }
    }
    return playlist;
}

}  // namespace quorel::gstreamer
