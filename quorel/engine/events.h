// The engine's events and their types. Times are in seconds of the presentation, volume is 0 to 1.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/export.h"

namespace quorel {

class QUOREL_VISIBLE Track;
class QUOREL_VISIBLE TextTrackCue;

// What the events of PlayerEventTypes carry; THEOplayer says when they come.
struct QUOREL_VISIBLE LoadedMetaDataEvent {};
struct QUOREL_VISIBLE PlayEvent {};
struct QUOREL_VISIBLE PlayingEvent {};
struct QUOREL_VISIBLE PauseEvent {};
struct QUOREL_VISIBLE WaitingEvent {};
struct QUOREL_VISIBLE EndedEvent {};
struct QUOREL_VISIBLE DurationChangeEvent {
    std::optional<double> duration;  // absent when unknown, infinite for live
};
struct QUOREL_VISIBLE ErrorEvent {
    std::string error;  // a sentence a person can act on
};
// What events with a position have in common.
struct QUOREL_VISIBLE CurrentTimeEvent {
    double currentTime = 0;  // seconds
};
struct QUOREL_VISIBLE TimeUpdateEvent : CurrentTimeEvent {};
struct QUOREL_VISIBLE VolumeChangeEvent {
    float volume = 0;  // what is heard: 0 while muted
};
struct QUOREL_VISIBLE RateChangeEvent {};
struct QUOREL_VISIBLE CanPlayEvent {};
struct QUOREL_VISIBLE CanPlayThroughEvent {};

// As the media element of the HTML standard has it (4.8.11.7), with the same numbers.
enum class ReadyState {
    haveNothing = 0,
    haveMetadata = 1,
    haveCurrentData = 2,
    haveFutureData = 3,
    haveEnoughData = 4
};
// The new state; it is told before the events that follow from it.
struct QUOREL_VISIBLE ReadyStateChangeEvent {
    ReadyState readyState = ReadyState::haveNothing;
};

// The events of a THEOplayer. The texts are those of the HTML standard (4.8.11.16).
struct QUOREL_VISIBLE PlayerEventTypes {
    static inline const EventType<LoadedMetaDataEvent> LOADED_META_DATA{"loadedmetadata"};
    static inline const EventType<PlayEvent> PLAY{"play"};
    static inline const EventType<PlayingEvent> PLAYING{"playing"};
    static inline const EventType<PauseEvent> PAUSE{"pause"};
    static inline const EventType<WaitingEvent> WAITING{"waiting"};
    static inline const EventType<EndedEvent> ENDED{"ended"};
    static inline const EventType<DurationChangeEvent> DURATION_CHANGE{"durationchange"};
    static inline const EventType<ErrorEvent> ERROR{"error"};
    static inline const EventType<TimeUpdateEvent> TIME_UPDATE{"timeupdate"};
    static inline const EventType<VolumeChangeEvent> VOLUME_CHANGE{"volumechange"};
    static inline const EventType<RateChangeEvent> RATE_CHANGE{"ratechange"};
    static inline const EventType<CanPlayEvent> CAN_PLAY{"canplay"};
    static inline const EventType<CanPlayThroughEvent> CAN_PLAY_THROUGH{"canplaythrough"};
    static inline const EventType<ReadyStateChangeEvent> READY_STATE_CHANGE{"readystatechange"};
};

// What the events of AdsEventTypes carry: that it happened.
struct QUOREL_VISIBLE AdBeginEvent {};
struct QUOREL_VISIBLE AdEndEvent {};
struct QUOREL_VISIBLE AdBreakBeginEvent {};
struct QUOREL_VISIBLE AdBreakEndEvent {};

// The events of Ads, in pairs: a break, and in it each ad.
struct QUOREL_VISIBLE AdsEventTypes {
    static inline const EventType<AdBeginEvent> AD_BEGIN{"adbegin"};
    static inline const EventType<AdEndEvent> AD_END{"adend"};
    static inline const EventType<AdBreakBeginEvent> AD_BREAK_BEGIN{"adbreakbegin"};
    static inline const EventType<AdBreakEndEvent> AD_BREAK_END{"adbreakend"};
};

// What the events of TextTrackListEventTypes carry.
struct QUOREL_VISIBLE AddTrackEvent {
    std::shared_ptr<Track> track;
};
struct QUOREL_VISIBLE RemoveTrackEvent {
    std::shared_ptr<Track> track;
};
struct QUOREL_VISIBLE TrackChangeEvent {
    std::shared_ptr<Track> track;  // the one whose mode changed
};

// The events of a TextTrackList.
struct QUOREL_VISIBLE TextTrackListEventTypes {
    static inline const EventType<AddTrackEvent> ADD_TRACK{"addtrack"};
    static inline const EventType<RemoveTrackEvent> REMOVE_TRACK{"removetrack"};
    static inline const EventType<TrackChangeEvent> CHANGE{"change"};
};

// What the events of TextTrackEventTypes carry.
struct QUOREL_VISIBLE EnterCueEvent {
    std::shared_ptr<TextTrackCue> cue;
};
struct QUOREL_VISIBLE ExitCueEvent {
    std::shared_ptr<TextTrackCue> cue;
};

// The events of a TextTrack.
struct QUOREL_VISIBLE TextTrackEventTypes {
    static inline const EventType<EnterCueEvent> ENTER_CUE{"entercue"};
    static inline const EventType<ExitCueEvent> EXIT_CUE{"exitcue"};
};

}  // namespace quorel
