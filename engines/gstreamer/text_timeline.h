// Private to this room. Which cues are due: positions in, cues that enter and leave out.
//
//   timeline.put(0, cues);
//   while (const auto step = timeline.stepTowards(12.5, CueTimeline::Motion::playing)) tell(*step);
//
// quorel/subtitles has CueLookup for documents; here cues come and go by segments, several are due at once, and an
// end is not within its cue. Main thread; nothing here knows of time that passes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engines/gstreamer/text_webvtt.h"
#include "quorel/engine/text_tracks.h"

namespace quorel::gstreamer {

class SubtitleCue final : public TextTrackCue {
public:
    SubtitleCue(WebVTTCueBlock block, std::weak_ptr<TextTrack> track, std::uint64_t number)
        : block_(std::move(block)), track_(std::move(track)), number_(number) {}
    double startTime() const override { return block_.start; }
    double endTime() const override { return block_.end; }
    std::optional<std::string> contentString() const override { return plainText(block_.payload); }
    std::shared_ptr<TextTrack> track() const override { return track_.lock(); }
    const WebVTTCueBlock& block() const { return block_; }  // on the player's clock
    bool covers(double position) const { return block_.start <= position && position < block_.end; }
    // Their order: by the start, later ends first, then as they were read.
    bool isBefore(const SubtitleCue& other) const;

private:
    const WebVTTCueBlock block_;
    const std::weak_ptr<TextTrack> track_;
    const std::uint64_t number_;
};

using SubtitleCues = std::vector<std::shared_ptr<SubtitleCue>>;

class CueTimeline {
public:
    struct Step {
        std::shared_ptr<SubtitleCue> cue;
        bool enters = false;
    };
    // Playing passes every cue on its way, also one that lies whole between two positions; a jump does not.
    enum class Motion { playing, jump };

    // The cues of one segment, by their start. Such as another segment holds as well are the same cue: one that
    // crosses the border of two segments stands in both (RFC 8216 3.5).
    void put(std::uint64_t segment, std::vector<WebVTTCueBlock> blocks, const std::weak_ptr<TextTrack>& track);
    // Cues that are active stay so until the position leaves them.
    void drop(std::uint64_t segment);
    // Forgets the active cues too, without a step.
    void clear();

    // The next cue that has to leave or enter on the way to `position`.
    std::optional<Step> stepTowards(double position, Motion motion);
    // The first position behind the one it is at where a cue enters or leaves; infinite when there is none.
    double nextChange() const;
    const SubtitleCues& active() const { return active_; }  // by their start
    std::size_t size() const { return cues_.size(); }

private:
    void index();
    std::size_t firstNotBefore(double position) const;

    std::map<std::uint64_t, SubtitleCues> segments_;
    std::uint64_t read_ = 0;          // cues so far
    SubtitleCues cues_;               // of all segments, each once, by their start
    std::vector<double> latestEnds_;  // the greatest end of cues_[0...i]
    SubtitleCues active_;
    std::size_t next_ = 0;  // all cues before it are settled at position_
    double position_ = 0;
    bool isNew_ =
        false;  // cues have come since the last step: those that the position has passed meanwhile are no news
};

}  // namespace quorel::gstreamer
