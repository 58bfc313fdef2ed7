// Private to this room. The simulated engine's text tracks: modes, and cues that enter and leave as the position
// moves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engines/simulated/script.h"
#include "quorel/engine/text_tracks.h"

namespace quorel::simulated {

class TrackList;

class Cue final : public TextTrackCue {
public:
    Cue(SimulatedCue cue, std::weak_ptr<TextTrack> track) : cue_(std::move(cue)), track_(std::move(track)) {}
    double startTime() const override { return cue_.start; }
    double endTime() const override { return cue_.end; }
    std::optional<std::string> contentString() const override { return cue_.text; }
    std::shared_ptr<TextTrack> track() const override { return track_.lock(); }
    bool covers(double position) const { return cue_.start <= position && position < cue_.end; }

private:
    SimulatedCue cue_;
    std::weak_ptr<TextTrack> track_;
};

class ScriptedTrack final : public TextTrack, public std::enable_shared_from_this<ScriptedTrack> {
public:
    static std::shared_ptr<ScriptedTrack> make(const SimulatedTrack& script, std::weak_ptr<TrackList> list);

    std::string kind() const override { return kind_; }
    std::string label() const override { return label_; }
    std::string language() const override { return language_; }
    TextTrackMode mode() const override { return mode_; }
    void setMode(TextTrackMode mode) override;
    std::vector<std::shared_ptr<TextTrackCue>> activeCues() const override;

    // For the list.
    struct Step {
        std::shared_ptr<Cue> cue;
        bool enters = false;
    };
    // Takes the next cue that has to leave or to enter for the track to be at `position`.
    std::optional<Step> stepTowards(double position);
    // The first position behind the one it is at where a cue enters or leaves; infinite when there is none.
    double nextChange() const;
    // Does not report anything. A disabled track forgets its cues without an EXIT_CUE.
    void changeMode(TextTrackMode mode);

private:
    std::string kind_;
    std::string label_;
    std::string language_;
    TextTrackMode mode_ = TextTrackMode::disabled;
    std::weak_ptr<TrackList> list_;
    std::vector<std::shared_ptr<Cue>> cues_;    // by their start
    std::vector<std::shared_ptr<Cue>> active_;  // by their start
    std::size_t next_ = 0;                      // all cues before it start at position_ or before
    double position_ = 0;
};

// Shared, so that it outlives a listener that releases the engine.
class TrackList final : public TextTrackList, public std::enable_shared_from_this<TrackList> {
public:
    using Log = std::function<void(std::string_view name, std::string detail)>;

    // `changed` is called after a mode has changed and been reported. Neither is called after close().
    TrackList(Log log, std::function<void()> changed) : log_(std::move(log)), changed_(std::move(changed)) {}

    std::size_t count() const override { return tracks_.size(); }
    std::shared_ptr<TextTrack> get(std::size_t index) const override {
        return index < tracks_.size() ? tracks_[index] : nullptr;
    }

    void add(const SimulatedTrack& script);
    void removeAll();
    // Lets cues leave and enter. Where a listener moves the list again, that movement ends this one.
    void moveTo(double position);
    double nextChange() const;
    // Reports nothing any more.
    void close();

    // For the tracks.
    void setMode(const std::shared_ptr<ScriptedTrack>& track, TextTrackMode mode);

private:
    void change(const std::shared_ptr<ScriptedTrack>& track, TextTrackMode mode);

    Log log_;
    std::function<void()> changed_;
    std::vector<std::shared_ptr<ScriptedTrack>> tracks_;
    std::uint64_t movements_ = 0;
    bool closed_ = false;
};

}  // namespace quorel::simulated
