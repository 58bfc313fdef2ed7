// Private to this room. The engine's text tracks: one for each rendition, with cues that enter and leave as the media
// clock passes them.
//
//   tracks->begin(source);                 // ADD_TRACK for each rendition
//   tracks->setClock(12.5, 1);             // playing: wakes itself at the next cue
//   tracks->jumpTo(60);                    // a seek
//
// All of it belongs to the main loop's thread. Every operation that tells something may end in a listener that has
// changed everything; nothing is told after close().
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/subtitle_renditions.h"
#include "engines/gstreamer/text_loading.h"
#include "engines/gstreamer/text_timeline.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::gstreamer {

class SubtitleTracks;

class SubtitleTrack final : public TextTrack, public std::enable_shared_from_this<SubtitleTrack> {
public:
    SubtitleTrack(SubtitleRendition rendition, std::weak_ptr<SubtitleTracks> list)
        : rendition_(std::move(rendition)), list_(std::move(list)) {}

    std::string kind() const override;
    std::string label() const override { return rendition_.name; }
    std::string language() const override { return rendition_.language; }
    TextTrackMode mode() const override { return mode_; }
    void setMode(TextTrackMode mode) override;
    std::vector<std::shared_ptr<TextTrackCue>> activeCues() const override;

private:
    friend class SubtitleTracks;
    // Whether anybody is there for its cues: one that is hidden has them only for those who listen.
    bool isWanted() const;
    void load(const SubtitleLoader::Environment& environment, double position);
    void unload();

    const SubtitleRendition rendition_;
    const std::weak_ptr<SubtitleTracks> list_;
    TextTrackMode mode_ = TextTrackMode::disabled;
    CueTimeline timeline_;
    std::shared_ptr<SubtitleLoader> loader_;
    std::optional<LoadedPlaylist> playlist_;  // of the loader before
};

// Shared, so that it outlives a listener that releases the engine.
class SubtitleTracks final : public TextTrackList, public std::enable_shared_from_this<SubtitleTracks> {
public:
    // `shown` gets the cues that are to be seen, each time that they change. The loop outlives the tracks.
    using Shown = std::function<void(const SubtitleCues&)>;
    SubtitleTracks(RunLoop& loop, GStreamerOptions::MissingTimestampMap missingMap, Shown shown);

    std::size_t count() const override { return tracks_.size(); }
    std::shared_ptr<TextTrack> get(std::size_t index) const override {
        return index < tracks_.size() ? tracks_[index] : nullptr;
    }

    // Tells ADD_TRACK for each of the source's renditions; false when a listener has put an end to it.
    bool begin(SubtitleSource source);
    // Tells REMOVE_TRACK for each track; as begin().
    bool removeAll();
    // Loads nothing any more and lets nothing enter or leave; the tracks stay.
    void halt();
    void close();

    // The media clock, as often as it is read: where it is now, and its speed, 0 when it stands. Cues enter and leave
    // at later turns.
    void setClock(double position, double rate);
    // The position has not been played to but sought.
    void jumpTo(double position);

private:
    friend class SubtitleTrack;
    void setMode(const std::shared_ptr<SubtitleTrack>& track, TextTrackMode mode);
    void change(const std::shared_ptr<SubtitleTrack>& track, TextTrackMode mode);
    bool isListed(const SubtitleTrack& track) const;
    void loadWhatIsWanted();
    void wake();
    void catchUp();
    double clock() const;
    void tellShown();

    RunLoop& loop_;
    const GStreamerOptions::MissingTimestampMap missingMap_;
    Shown shown_;
    std::vector<std::shared_ptr<SubtitleTrack>> tracks_;
    SubtitleCues shownCues_;
    std::optional<SubtitleLoader::Environment> environment_;  // absent while nothing may be loaded
    std::uint64_t movements_ = 0;
    std::uint64_t source_ = 0;
    bool closed_ = false;

    double position_ = 0;  // of the clock at setAt_
    Duration setAt_{0};
    double rate_ = 0;
    double reached_ = 0;  // up to where cues have been told
    bool jumps_ = false;
    RunLoop::TimerId timer_ = 0;
};

}  // namespace quorel::gstreamer
