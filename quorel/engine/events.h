// The engine's events and their types. Times are in seconds of the presentation, volume is 0 to 1.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/event_dispatcher.h"

namespace quorel {

class Track;
class TextTrackCue;

struct LoadedMetaDataEvent {};
struct PlayEvent {};
struct PlayingEvent {};
struct PauseEvent {};
struct WaitingEvent {};
struct EndedEvent {};
struct DurationChangeEvent {
    std::optional<double> duration;  // absent when unknown, infinite for live
};
struct ErrorEvent {
    std::string error;  // a sentence a person can act on
};
struct CurrentTimeEvent {
    double currentTime = 0;
};
struct TimeUpdateEvent : CurrentTimeEvent {};
struct VolumeChangeEvent {
    float volume = 0;  // what is heard: 0 while muted
};
struct RateChangeEvent {};
struct CanPlayEvent {};
struct CanPlayThroughEvent {};

// As the media element of the HTML standard has it (4.8.11.7), with the same numbers.
enum class ReadyState { haveNothing = 0, haveMetadata = 1, haveCurrentData = 2, haveFutureData = 3, haveEnoughData = 4 };
struct ReadyStateChangeEvent {
    ReadyState readyState = ReadyState::haveNothing;
};

struct PlayerEventTypes {
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

struct AdBeginEvent {};
struct AdEndEvent {};
struct AdBreakBeginEvent {};
struct AdBreakEndEvent {};

struct AdsEventTypes {
    static inline const EventType<AdBeginEvent> AD_BEGIN{"adbegin"};
    static inline const EventType<AdEndEvent> AD_END{"adend"};
    static inline const EventType<AdBreakBeginEvent> AD_BREAK_BEGIN{"adbreakbegin"};
    static inline const EventType<AdBreakEndEvent> AD_BREAK_END{"adbreakend"};
};

struct AddTrackEvent {
    std::shared_ptr<Track> track;
};
struct RemoveTrackEvent {
    std::shared_ptr<Track> track;
};
struct TrackChangeEvent {
    std::shared_ptr<Track> track;  // the one whose mode changed
};

struct TextTrackListEventTypes {
    static inline const EventType<AddTrackEvent> ADD_TRACK{"addtrack"};
    static inline const EventType<RemoveTrackEvent> REMOVE_TRACK{"removetrack"};
    static inline const EventType<TrackChangeEvent> CHANGE{"change"};
};

struct EnterCueEvent {
    std::shared_ptr<TextTrackCue> cue;
};
struct ExitCueEvent {
    std::shared_ptr<TextTrackCue> cue;
};

struct TextTrackEventTypes {
    static inline const EventType<EnterCueEvent> ENTER_CUE{"entercue"};
    static inline const EventType<ExitCueEvent> EXIT_CUE{"exitcue"};
};

}  // namespace quorel
