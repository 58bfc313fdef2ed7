#include "sandbox/live_channel.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "quorel/foundation/date.h"
#include "quorel/foundation/text.h"

namespace quorel::sandbox {

Recording Recording::parse(std::string_view playlist) {
    constexpr std::string_view info = "#EXTINF:";
    Recording recording;
    double duration = 0;
    for (std::string_view line : split(playlist, '\n', EmptyPieces::drop)) {
        line = trimmedWhitespaceAndNewlines(line);
        if (line.starts_with(info)) {
            line.remove_prefix(info.size());
            duration = 0;
            std::from_chars(line.data(), line.data() + line.size(), duration);
        } else if (!line.empty() && !line.starts_with('#') && duration > 0) {
            recording.segments.push_back({std::string(line), std::exchange(duration, 0)});
        }
    }
    return recording;
}

double Recording::duration() const {
    double sum = 0;
    for (const Segment& segment : segments) sum += segment.duration;
    return sum;
}

LiveChannel::LiveChannel(Recording recording) : recording_(std::move(recording)), turn_(recording_.duration()) {
    double start = 0;
    for (const Recording::Segment& one : recording_.segments) {
        starts_.push_back(start);
        start += one.duration;
    }
}

std::int64_t LiveChannel::turnOf(std::int64_t sequence) const {
    return sequence / static_cast<std::int64_t>(starts_.size());
}

const Recording::Segment& LiveChannel::segment(std::int64_t sequence) const {
    return recording_.segments[static_cast<std::size_t>(sequence) % starts_.size()];
}

double LiveChannel::startOf(std::int64_t sequence) const {
    return epoch + static_cast<double>(turnOf(sequence)) * turn_ +
           starts_[static_cast<std::size_t>(sequence) % starts_.size()];
}

std::int64_t LiveChannel::lastSequence(double now) const {
    const double elapsed = std::min(now, end_.value_or(now)) - epoch;
    if (elapsed < 0) return -1;
    const double turns = std::floor(elapsed / turn_);
    // The segment that is being recorded is the first that is not available.
    const auto running =
        std::upper_bound(starts_.begin(), starts_.end(), elapsed - turns * turn_) - starts_.begin() - 1;
    return static_cast<std::int64_t>(turns) * static_cast<std::int64_t>(starts_.size()) + running - 1;
}

void LiveChannel::switchCDN(std::string host, double now) {
    hosts_.emplace_back(lastSequence(now) + 1, std::move(host));
}

void LiveChannel::end(double now) {
    if (!end_) end_ = now;
}

std::string LiveChannel::playlist(const AddressOf& addressOf, double now) const {
    static const DateFormatter dates("yyyy-MM-dd'T'HH:mm:ss.SSS'Z'");
    const std::int64_t last = lastSequence(now);
    const std::int64_t first = std::max<std::int64_t>(0, last - windowLength + 1);
    double longest = 0;
    for (const Recording::Segment& one : recording_.segments) longest = std::max(longest, one.duration);
    std::string text = fmt::format(
        "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:{}\n#EXT-X-MEDIA-SEQUENCE:{}\n"
        "#EXT-X-DISCONTINUITY-SEQUENCE:{}\n#EXT-X-INDEPENDENT-SEGMENTS\n",
        std::lround(std::ceil(longest)), first, turnOf(first));
    for (std::int64_t sequence = first; sequence <= last; ++sequence) {
        const bool isNewTurn = sequence != first && turnOf(sequence) != turnOf(sequence - 1);
        if (isNewTurn) text += "#EXT-X-DISCONTINUITY\n";
        if (isNewTurn || sequence == first) {
            text += fmt::format("#EXT-X-PROGRAM-DATE-TIME:{}\n", dates.string(Date{startOf(sequence)}));
        }
        const std::string* host = nullptr;
        for (const auto& [from, name] : hosts_) {
            if (from <= sequence) host = &name;
        }
        text += fmt::format("#EXTINF:{:.6f},\n{}{}.ts\n", segment(sequence).duration,
                            host != nullptr ? addressOf(*host) : "", sequence);
    }
    if (end_) text += "#EXT-X-ENDLIST\n";
    return text;
}

std::optional<std::string> LiveChannel::recordedFile(std::string_view name, double now) const {
    std::int64_t sequence = -1;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), sequence);
    const std::int64_t last = lastSequence(now);
    if (error != std::errc() || std::string_view(end, name.data() + name.size()) != ".ts") return std::nullopt;
    if (sequence < 0 || sequence > last || sequence <= last - 2 * windowLength - 1) return std::nullopt;
    return segment(sequence).file;
}

}  // namespace quorel::sandbox
