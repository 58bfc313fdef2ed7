// The reading of SRT, apart from what becomes of the cues. Private to this room.
#pragma once

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/lines_private.h"
#include "quorel/subtitles/timing_lines_private.h"

namespace quorel::detail {

// The pattern of the timing line, as the format has it, and the same made fit for hostile lines: a match cannot
// begin within digits, but where the last one ended, so a megabyte of digits is read once and not once per digit.
const Regex& srtTimingPattern();
const Regex& guardedSRTTimingPattern();
// Reads the usual timing lines, and leaves all others, matching or not, to the pattern.
bool scanSRTTiming(std::string_view line, TimingParts& parts);

inline constexpr const char* srtTimingExpected =
    "expected one timing line behind the number of a cue, as 00:01:02,500 --> 00:01:04,000";

// Calls, for each cue, sink.timing(position, timing), sink.line(text) for each line of its text, and at last
// sink.finish(reached), or sink.drop() for a cue that does not count.
template <class Sink>
void scanSRT(std::string_view content, Sink& sink) {
    constexpr std::int64_t none = -1;
    enum class State { idle, timing, text } state = State::idle;
    std::int64_t position = none;
    OnlyMatch pattern(&guardedSRTTimingPattern);
    LineReader lines(decodableText(content));
    for (std::string_view line; lines.next(line);) {
        line = trimmedWhitespaces(line);
        switch (state) {
            case State::idle: {
                if (line.empty()) break;
                const auto index = readSigned(line);
                if (!index) {
                    throw SubTitlesError::invalidPosition(lines.number() + 1)
                        .at(lines.number() + 1, line,
                            "expected the number of a cue, behind the blank line that ends the one before");
                }
                position = *index;
                state = State::timing;
                break;
            }
            case State::timing: {
                if (line.empty())
                    throw SubTitlesError::invalidFile().at(lines.number() + 1, {}, srtTimingExpected);
                TimingParts parts;
                if (!scanSRTTiming(line, parts) && !(pattern.find(line) && pattern.numbers(parts))) {
                    throw SubTitlesError::invalidTime(lines.number())
                        .at(lines.number() + 1, line, srtTimingExpected);
                }
                sink.timing(position, Timing(parts));
                state = State::text;
                break;
            }
            case State::text:
                if (!line.empty()) {
                    sink.line(line);
                    break;
                }
                sink.finish(lines.position());
                position = none;
                state = State::idle;
                break;
        }
    }
    if (state == State::timing && position != none) {
        throw SubTitlesError::invalidTime(-1).at(lines.number() + 1, {},
                                                 std::string("the text ends here; ") + srtTimingExpected);
    }
    if (state != State::text) return;
    if (position != none) {
        sink.finish(lines.position());
    } else {
        sink.drop();
    }
}

}  // namespace quorel::detail
