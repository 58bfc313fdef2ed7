// Text tracks of the source that is playing: subtitles and captions, their modes and their cues.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/events.h"
#include "quorel/engine/export.h"

namespace quorel {

// As in the HTML standard (4.8.11.11.1): disabled tracks load nothing, hidden ones have cues and events but are
// not drawn.
enum class TextTrackMode : int { disabled = 0, hidden = 1, showing = 2 };

class QUOREL_VISIBLE TextTrack;

// One cue of a text track. Belongs to its track.
class QUOREL_VISIBLE TextTrackCue {
public:
    virtual ~TextTrackCue() = default;
    virtual double startTime() const = 0;                          // seconds on the presentation's clock
    virtual double endTime() const = 0;                            // seconds; infinite when it is not known
    virtual std::optional<std::string> contentString() const = 0;  // plain text, lines separated by "\n"
    virtual std::shared_ptr<TextTrack> track() const = 0;          // null once the track is gone
};

// What tracks have in common.
class QUOREL_VISIBLE Track : public EventDispatcher {
public:
    virtual std::string kind() const = 0;      // "subtitles", "captions", ...
    virtual std::string label() const = 0;     // for people
    virtual std::string language() const = 0;  // RFC 5646 tag as the playlist has it
};

// Emits ENTER_CUE and EXIT_CUE, unless disabled, once each time that the position moves into and out of a cue, by
// playing or by seeking.
class QUOREL_VISIBLE TextTrack : public Track {
public:
    virtual TextTrackMode mode() const = 0;
    // Setting the mode it has does nothing. Each change is reported by CHANGE of the list, before this returns.
    virtual void setMode(TextTrackMode mode) = 0;
    // The cues at the current position, in order of their start; empty while disabled.
    virtual std::vector<std::shared_ptr<TextTrackCue>> activeCues() const = 0;
};

// Emits ADD_TRACK, REMOVE_TRACK and CHANGE. When one track becomes `showing`, the one that was showing becomes
// `hidden` first, and its CHANGE comes before the new one's.
class QUOREL_VISIBLE TextTrackList : public EventDispatcher {
public:
    virtual std::size_t count() const = 0;
    virtual std::shared_ptr<TextTrack> get(std::size_t index) const = 0;  // null past the end
};

}  // namespace quorel
