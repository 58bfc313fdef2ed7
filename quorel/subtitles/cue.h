// One cue of a subtitle document: a text between two times, with a few optional labels.
//
//   const Subtitles::Cue cue(
//       {.startTime = Subtitles::Time(1.0), .endTime = Subtitles::Time(2.5), .text = "Hello"});
//   const Subtitles::Cue later = cue.timeshifting(10);
//
// The type is written Subtitles::Cue. An immutable value; any thread.
//
// The texts of cues lie in blocks that cues share: the cues of one decoded document share blocks of some 64 KiB,
// and a copied or shifted cue shares its original's. Copying a document thus copies no text, and a single cue that
// is kept keeps no more than its block. The views that a cue gives are valid as long as it or any copy of it
// lives.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "quorel/foundation/uuid.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/time.h"
#include "quorel/subtitles/uuid.h"

namespace quorel {

class QUOREL_SUBTITLES_API SubtitlesCue {
public:
    using ID = Identifier<SubtitlesCue, UUID>;

    // What a cue is made of.
    struct Fields {
        std::optional<std::string_view> identifier = {};  // a name that the source format carries
        std::optional<std::int64_t> position = {};        // an ordinal number that the source format carries
        SubtitlesTime startTime = {};
        SubtitlesTime endTime = {};
        std::string_view text = {};  // lines are joined by LF
        std::optional<std::string_view> speaker = {};
    };

    // With a new random id. An end before the start becomes the start. The texts are copied, into one block.
    explicit SubtitlesCue(const Fields& fields);
    // The same, where the end is start + duration, in seconds.
    static SubtitlesCue withDuration(Fields fields, double duration);
    // The same as the first, for coders: the texts in `fields` lie in `block`, or are literals, and are not
    // copied.
    static SubtitlesCue sharing(std::shared_ptr<const char[]> block, const Fields& fields);
    // A cue as it was stored once: the id is kept, and so is an end before the start.
    static SubtitlesCue restoring(const ID& id, const Fields& fields);
    // The same, for coders: shares `block` as above.
    static SubtitlesCue restoring(std::shared_ptr<const char[]> block, const ID& id, const Fields& fields);

    const ID& id() const { return id_; }
    std::optional<std::string_view> identifier() const { return label(identifier_); }
    std::optional<std::int64_t> position() const { return position_; }
    const SubtitlesTime& startTime() const { return startTime_; }
    const SubtitlesTime& endTime() const { return endTime_; }
    std::string_view text() const { return text_; }
    std::optional<std::string_view> speaker() const { return label(speaker_); }
    Fields fields() const { return {identifier(), position_, startTime_, endTime_, text_, speaker()}; }

    // All in seconds.
    double startTimeInSeconds() const { return startTime_.timeInSeconds(); }
    double endTimeInSeconds() const { return endTime_.timeInSeconds(); }
    double duration() const { return endTimeInSeconds() - startTimeInSeconds(); }

    // Both ends inclusive.
    bool contains(double timeInSeconds) const {
        return startTimeInSeconds() <= timeInSeconds && endTimeInSeconds() >= timeInSeconds;
    }
    bool contains(const SubtitlesTime& time) const { return contains(time.timeInSeconds()); }
    // Whether the END of the cue is after the time. The name says start; the test is on the end, and stays so.
    bool startsAfter(double timeInSeconds) const { return endTimeInSeconds() > timeInSeconds; }
    bool startsAfter(const SubtitlesTime& time) const { return startsAfter(time.timeInSeconds()); }
    bool isValidTime() const { return startTimeInSeconds() >= 0 && endTimeInSeconds() > startTimeInSeconds(); }
    // In whole milliseconds, so that a cue from 1.0001 s to 1.0009 s is valid and has zero length.
    bool isZeroLength() const { return startTime_ == endTime_; }

    // Changed copies, with a new id. They keep identifier, position and text, and drop the speaker: deliberately
    // so. Moves both ends, neither below zero nor the end before the start.
    SubtitlesCue timeshifting(double by) const;
    // Moves the end, not before the start; negative seconds shorten the cue.
    SubtitlesCue inserting(double durationInSeconds) const;
    // Time put into the document at an instant: prolongs a cue that contains the instant, moves one that lies
    // behind it, and gives any other back as it is, id and speaker included.
    SubtitlesCue inserting(double seconds, double at) const;
    // With another position and a new id. The speaker stays; the end is computed anew from start and duration.
    SubtitlesCue renumbered(std::int64_t position) const;

    // Neither the id nor the speaker takes part; times are compared in whole milliseconds.
    friend bool operator==(const SubtitlesCue& a, const SubtitlesCue& b) {
        return a.position_ == b.position_ && a.startTime_ == b.startTime_ && a.endTime_ == b.endTime_ &&
               a.identifier() == b.identifier() && a.text_ == b.text_;
    }

private:
    // No address means absent, so that the three texts need no flags.
    static std::optional<std::string_view> label(std::string_view stored) {
        return stored.data() != nullptr ? std::optional(stored) : std::nullopt;
    }
    SubtitlesCue(std::shared_ptr<const char[]> block, const ID& id, const Fields& fields);
    SubtitlesCue between(double start, double end) const;

    ID id_;
    std::optional<std::int64_t> position_;
    SubtitlesTime startTime_;
    SubtitlesTime endTime_;
    std::string_view text_;
    std::string_view identifier_;
    std::string_view speaker_;
    std::shared_ptr<const char[]> block_;
};

}  // namespace quorel
