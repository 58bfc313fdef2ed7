// The engine object.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/events.h"
#include "quorel/engine/export.h"
#include "quorel/engine/ima.h"
#include "quorel/engine/source_description.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/video_view.h"
#include "quorel/ui/view.h"

namespace quorel {

class DeveloperSettings;

// How an engine is to be made; nothing can be set at present.
struct QUOREL_VISIBLE THEOplayerConfiguration {
    bool operator==(const THEOplayerConfiguration&) const = default;
};

// Makes a configuration.
class QUOREL_VISIBLE THEOplayerConfigurationBuilder {
public:
    THEOplayerConfiguration build() const { return {}; }
};

// Ad breaks that the engine plays itself. Emits AD_BREAK_BEGIN, AD_BEGIN, AD_END, AD_BREAK_END.
class QUOREL_VISIBLE Ads : public EventDispatcher {};

// Something attached to an engine for its life.
class QUOREL_VISIBLE Integration {
public:
    virtual ~Integration() = default;
};

// Plays one source at a time. The order of events for a source that plays to its end:
//
//   after setSource()  READY_STATE_CHANGE(haveMetadata), DURATION_CHANGE, ADD_TRACK for each text track that is
//                      known by then (others follow when they are found), LOADED_META_DATA,
//                      READY_STATE_CHANGE(haveFutureData or more), CAN_PLAY, CAN_PLAY_THROUGH
//   after play()       PLAY, PLAYING, TIME_UPDATE about four times a second
//   at the end         a last TIME_UPDATE with the duration, PAUSE, ENDED
//
// What holds for every engine (tests/engines/engine_contract.h has each rule as a test):
// - What setSource() brings about is told at later turns of the run loop, never before it returns, but for what
//   it ends. PLAY, PAUSE, RATE_CHANGE and VOLUME_CHANGE that a call causes come before that call returns.
// - PLAY and PAUSE alternate and go with paused(): a source that is replaced, stopped or broken while it plays
//   gives PAUSE first. A play() that came before the source was ready gives its PLAY after CAN_PLAY.
// - WAITING comes when the engine should play and has nothing to show, also after a PLAY; then PLAYING, once it
//   goes on, and before that CAN_PLAY and CAN_PLAY_THROUGH, which come also while paused. Never two WAITING
//   without PLAYING or CAN_PLAY_THROUGH between them.
// - READY_STATE_CHANGE comes before the events that follow from the new state.
// - A seek that is done gives one TIME_UPDATE with exactly its target, paused or not, and then calls its handler.
// - ERROR is the last event of its source: only a new one brings the engine back. Until then paused() is true and
//   play() does nothing.
// - Rate, volume and muted belong to the engine and stay when the source changes.
// - A listener may do anything: seek, set a source, release the last reference to the engine.
class QUOREL_VISIBLE THEOplayer : public EventDispatcher {
public:
    // Attaches an integration; the engine keeps it.
    virtual void addIntegration(std::shared_ptr<Integration> integration) = 0;

    // Shows the picture inside `view`, behind its other subviews; called again, it moves the picture there.
    virtual void addAsSubview(const std::shared_ptr<ui::View>& view) = 0;
    // Where the picture stands in that view, and its own coordinates, in points.
    virtual ui::Rect frame() const = 0;
    virtual void setFrame(const ui::Rect& frame) = 0;
    virtual ui::Rect bounds() const = 0;

    virtual const std::optional<SourceDescription>& source() const = 0;
    // Ends what is playing and begins to load the new source, from position 0 and paused unless autoplay() or a
    // play() that follows. Absent unloads. Before it returns: PAUSE if it was playing, REMOVE_TRACK for each text
    // track, READY_STATE_CHANGE(haveNothing) if there was more.
    virtual void setSource(std::optional<SourceDescription> source) = 0;

    // Whether a source plays without a play() as soon as it can.
    virtual bool autoplay() const = 0;
    virtual void setAutoplay(bool autoplay) = 0;

    // play() before a source is ready is remembered, and paused() is false from then on; without a source it does
    // nothing. At the end of a source, play() starts again from 0. Neither does anything the second time.
    virtual void play() = 0;
    virtual void pause() = 0;
    // Stops and unloads as setSource(absent); the handler, if any, is called at a later turn, once that is done.
    virtual void stop(std::function<void()> completionHandler) = 0;
    virtual bool paused() const = 0;

    // Seconds. Reading during a seek gives its target. Writing seeks to the exact time, clamped to the source;
    // before metadata it is where playback will begin. Not finite: no seek. Without a source: no seek. The handler
    // is called exactly once at a later turn, also when the seek came to nothing because another seek, another
    // source or an error came between, but not after the engine is gone.
    virtual double currentTime() const = 0;
    virtual void setCurrentTime(double time, std::function<void()> completionHandler = {}) = 0;
    virtual std::optional<double> duration() const = 0;  // absent before metadata, infinite for live

    virtual double playbackRate() const = 0;        // 1 for normal speed
    virtual void setPlaybackRate(double rate) = 0;  // 0.1 to 16, clamped; the pitch is kept; not finite: ignored

    virtual bool muted() const = 0;
    virtual void setMuted(bool muted) = 0;
    virtual double volume() const = 0;          // 0 to 1, whether muted or not
    virtual void setVolume(double volume) = 0;  // clamped; not a number: ignored

    virtual ReadyState readyState() const = 0;  // how much of the source is there
    // The tracks of the source, and its ad breaks; they live as long as the engine.
    virtual TextTrackList& textTracks() = 0;
    virtual Ads& ads() = 0;
    // Null for an engine without manifest interception.
    virtual DeveloperSettings* developerSettings() = 0;

    // The decoded picture, for hosts that draw it themselves.
    virtual std::shared_ptr<ui::VideoFrameSource> videoFrames() const = 0;
};

// Attaches the ad service to an engine.
class QUOREL_VISIBLE GoogleIMAIntegrationFactory {
public:
    virtual ~GoogleIMAIntegrationFactory() = default;
    // For THEOplayer::addIntegration().
    virtual std::shared_ptr<Integration> createIntegration(const std::shared_ptr<THEOplayer>& player,
                                                           const IMASettings& settings) = 0;
};

// Makes engines. What an engine's room offers to the host, who hands it to the session.
class QUOREL_VISIBLE EngineFactory {
public:
    virtual ~EngineFactory() = default;
    // An engine without a source. `frame` is that of its picture, in points; absent: it fills the view it is shown in.
    virtual std::shared_ptr<THEOplayer> makePlayer(std::optional<ui::Rect> frame,
                                                   const THEOplayerConfiguration& configuration) = 0;
};

}  // namespace quorel
