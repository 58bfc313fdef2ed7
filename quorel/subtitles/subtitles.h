// A subtitle document: cues in the order of their start times, with queries, and the way from and to files.
//
//   const Subtitles film(*URL::parse("file:///films/film.srt"), TextEncoding::utf8);
//   if (const auto* cue = film.firstCue(12.5)) show(cue->text());
//   const std::string webVTT = film.timeShifting(2.0, 0).encode("vtt");
//
// An immutable value: every operation that changes something returns a new document. Any thread. Pointers to cues
// are valid as long as the document lives. Players that ask at every tick use cue_lookup.h.
//
// Formats are found by file extension ("srt", "vtt", ...) in coder.h. All reading throws SubTitlesError, but for the JSON
// formats, which throw SubtitlesJSONError (json.h); quorel::Error is the base of both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/cue.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/subtitles/text_encoding.h"
#include "quorel/subtitles/time.h"

namespace quorel {

class URL;

class QUOREL_SUBTITLES_API Subtitles {
public:
    using Time = SubtitlesTime;
    using Cue = SubtitlesCue;
    class Coder;  // coder.h

    // A cue by its index, and whether the time lies in it (or in front of it).
    struct CueTypeResult {
        bool isInsideCue = false;
        std::ptrdiff_t cueIndex = 0;  // into cues(), from 0

        bool operator==(const CueTypeResult&) const = default;
    };

    Subtitles() = default;
    // Sorts by start time, in seconds; cues with equal starts keep their order.
    explicit Subtitles(std::vector<Cue> cues);
    // A document as it was stored once, in its order.
    static Subtitles restoring(std::vector<Cue> cues);
    // A document without cues, shared by the process and settable; whoever sets it sees to the threads.
    static Subtitles& empty();

    // The coder is found by the extension; SubTitlesError (unsupportedFileType) when there is none.
    //
    // Reads the file with the encoding that is detected; when that fails, or what was read does not decode, all
    // over with `encoding`, and that attempt's error is the one thrown. A file that cannot be read throws
    // std::system_error.
    Subtitles(const URL& fileURL, const TextEncoding& encoding);
    // UTF-8 text, with or without a byte-order mark.
    Subtitles(std::string_view content, std::string_view expectedExtension);
    Subtitles(std::string_view data, std::string_view expectedExtension, const TextEncoding& encoding);

    // To text in UTF-8, and to bytes. Throw SubTitlesError: unsupportedFileType, and what the coder says.
    static std::string encode(const Subtitles& subtitles, std::string_view fileExtension);
    static std::string encode(const Subtitles& subtitles, std::string_view fileExtension,
                              const TextEncoding& encoding);
    std::string encode(std::string_view fileExtension) const { return encode(*this, fileExtension); }
    std::string encode(std::string_view fileExtension, const TextEncoding& encoding) const {
        return encode(*this, fileExtension, encoding);
    }

    // In the order of their start times.
    const std::vector<Cue>& cues() const& { return cues_; }
    std::vector<Cue> cues() && { return std::move(cues_); }  // so that a loop over a temporary's cues is safe
    bool isEmpty() const { return cues_.empty(); }
    const Cue* firstCue() const { return cues_.empty() ? nullptr : &cues_.front(); }
    const Cue* lastCue() const { return cues_.empty() ? nullptr : &cues_.back(); }
    std::vector<std::string_view> text() const;  // of every cue, in order
    std::set<std::string, std::less<>> uniqueSpeakers() const;

    // The first cue in order that contains the time, both its ends inclusive; null when there is none.
    const Cue* firstCue(double timeInSeconds) const;
    const Cue* firstCue(const Time& time) const { return firstCue(time.timeInSeconds()); }
    // The cue in front of which the time lies: the first cue when it starts after the time, else the first that
    // starts after it while the one before it has ended. Both comparisons are strict. Absent behind the last gap.
    std::optional<std::ptrdiff_t> nextCueIndex(double timeInSeconds) const;
    std::optional<std::ptrdiff_t> nextCueIndex(const Time& time) const {
        return nextCueIndex(time.timeInSeconds());
    }
    // The first cue that contains the time; else the next cue's index, with isInsideCue false; else absent.
    std::optional<CueTypeResult> cueType(double timeInSeconds) const;
    std::optional<CueTypeResult> cueType(const Time& time) const { return cueType(time.timeInSeconds()); }
    // The first cue that carries this position.
    std::optional<std::ptrdiff_t> cueIndex(std::int64_t forPosition) const;

    // Sorted by position, an absent one counting as 0, and then, as every document, by start time: the position
    // decides among cues of equal start only.
    Subtitles positionSorted() const;
    Subtitles startTimeSorted() const { return Subtitles(cues_); }
    // Each cue as by its inserting(by, at): time put into the document at an instant, both in seconds. Drops
    // speakers of the cues that change.
    Subtitles timeShifting(double by, double at) const;
    Subtitles removingEmptyCues() const;  // a text of blanks is not empty
    Subtitles removingInvalidCues() const;
    std::vector<std::ptrdiff_t> indexesOfInvalidCues() const;
    std::vector<Cue> cuesOfZeroLength() const;
    // Positions 1, 2, 3, ... in order. Keeps identifiers, texts and speakers.
    Subtitles setIncrementingPositionValues() const;

    bool operator==(const Subtitles&) const = default;

private:
    std::vector<Cue> cues_;
};

}  // namespace quorel

template <>
struct std::hash<quorel::Subtitles::CueTypeResult> {
    std::size_t operator()(const quorel::Subtitles::CueTypeResult& result) const noexcept {
        return std::hash<std::ptrdiff_t>()(result.cueIndex) * 2 + (result.isInsideCue ? 1 : 0);
    }
};
