#include "quorel/subtitles/lrc.h"

#include <algorithm>

#include "quorel/subtitles/character.h"
#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_blocks_private.h"
#include "quorel/subtitles/time_writing_private.h"

namespace quorel {
namespace {

struct Timestamp {
    SubtitlesTime time;
    std::size_t capturesEnd = 0;
    std::size_t end = 0;
};

// What the pattern matches at the bracket that stands at `at`.
std::optional<Timestamp> matchTimestamp(std::string_view line, std::size_t at) {
    const auto stands = [&](char c, std::size_t place) { return place < line.size() && line[place] == c; };
    const DigitRun minutes = decimalDigits(line, at + 1, 2);
    if (minutes.count < 2 || !stands(':', minutes.end)) return std::nullopt;
    const DigitRun seconds = decimalDigits(line, minutes.end + 1, 2);
    if (seconds.count < 2 || !stands('.', seconds.end)) return std::nullopt;
    const DigitRun fraction = decimalDigits(line, seconds.end + 1, 3);
    if (fraction.count < 2 || !stands(']', fraction.end)) return std::nullopt;

    const auto number = [&](std::size_t from, std::size_t to) {
        return detail::readUnsigned(line.substr(from, to - from)).value_or(0);
    };
    const std::uint64_t minute = number(at + 1, minutes.end);
    const std::uint64_t millisecond = number(seconds.end + 1, fraction.end) * (fraction.count == 2 ? 10 : 1);
    const SubtitlesTime time(minute / 60, minute % 60, number(minutes.end + 1, seconds.end), millisecond);
    const std::size_t end = std::min(line.find_first_not_of(']', fraction.end), line.size());
    return Timestamp{time, fraction.end, end};
}

// Walks through the matches in a line.
class Timestamps {
public:
    explicit Timestamps(std::string_view line) : line_(line) {}

    bool next(Timestamp& timestamp) {
        while ((at_ = line_.find('[', at_)) != std::string_view::npos) {
            if (const auto found = matchTimestamp(line_, at_)) {
                timestamp = *found;
                at_ = found->end;
                return true;
            }
            ++at_;
        }
        return false;
    }

private:
    std::string_view line_;
    std::size_t at_ = 0;
};

void appendTimestamp(std::string& out, const SubtitlesCue& cue, bool inMilliseconds) {
    const SubtitlesTime& time = cue.startTime();
    if (time.hour() >= 2 || time.minute() >= 100 || time.hour() * 60 + time.minute() >= 100) {
        throw SubTitlesError::timeTooLargeToExport(cue);
    }
    char buffer[detail::longestTime];
    char* at = buffer;
    *at++ = '[';
    at = detail::writePadded(at, time.hour() * 60 + time.minute(), 2);
    *at++ = ':';
    at = detail::writePadded(at, time.second(), 2);
    *at++ = '.';
    at = inMilliseconds ? detail::writePadded(at, time.millisecond(), 3)
                        : detail::writePadded(at, time.millisecond() / 10, 2);
    *at++ = ']';
    out.append(buffer, at);
}

}  // namespace

Subtitles Subtitles::Coder::LRC::decode(std::string_view content) const {
    std::vector<Cue> cues;
    content = detail::decodableText(content);
    detail::TextBlocks blocks(content.size());
    LineReader lines(content);
    for (std::string_view line; lines.next(line);) {
        line = detail::trimmedWhitespaces(line);
        Timestamps timestamps(line);
        Timestamp last;
        std::size_t count = 0;
        while (timestamps.next(last)) ++count;
        if (count == 0) continue;
        blocks.append(line.substr(characterEnd(line, last.capturesEnd)));
        const std::string_view text = blocks.finish();
        detail::makeRoom(cues, static_cast<std::size_t>(line.data() + line.size() - content.data()),
                         content.size(), count);
        const auto add = [&](const Time& time) {
            cues.push_back(Cue::sharing(blocks.block(), {.startTime = time, .endTime = time, .text = text}));
        };
        if (count == 1) {
            add(last.time);
        } else {
            // Found once more rather than kept: a line may be nothing but time stamps, by the million.
            timestamps = Timestamps(line);
            for (Timestamp timestamp; timestamps.next(timestamp);) add(timestamp.time);
        }
    }
    return Subtitles(std::move(cues));
}

std::string Subtitles::Coder::LRC::encode(const Subtitles& subtitles) const {
    const auto byStart = [](const Cue& a, const Cue& b) { return a.startTime() < b.startTime(); };
    if (!std::is_sorted(subtitles.cues().begin(), subtitles.cues().end(), byStart)) {
        return encode(subtitles.startTimeSorted());
    }
    std::size_t size = 0;
    for (const Cue& cue : subtitles.cues()) size += cue.text().size() + 12;
    std::string out;
    out.reserve(size);
    for (const Cue& cue : subtitles.cues()) {
        appendTimestamp(out, cue, timeFormat == TimeFormat::minutesSecondsMilliseconds);
        out += cue.text();
        out += '\n';
    }
    return out;
}

}  // namespace quorel
