// What a player tells its host.
//
//   void onEvent(const QuorelPlayerEvent& event) override {
//       if (const auto* update = event.getIf<QuorelPlayerEvent::timeUpdate>()) show(update->time);
//       else puts(describe(event).c_str());          // "error(error: "Decode error", canRetry: false)"
//   }
#pragma once

#include <concepts>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "quorel/player/export.h"

namespace quorel {

// What is known of a content when its metadata is there.
struct QUOREL_VISIBLE VideoMetadata {
    bool isLive = false;
    double duration = 0;  // seconds; 0 when the engine does not know it
    bool operator==(const VideoMetadata&) const = default;
};

// One of the cases below, each a type of its own. Times are seconds of the presentation. A value; any thread.
class QUOREL_VISIBLE QuorelPlayerEvent {
public:
    // The content can begin.
    struct metadataLoaded {
        VideoMetadata metadata;
        bool operator==(const metadataLoaded&) const = default;
    };
    // The duration became known, or another, in seconds.
    struct durationUpdate {
        double time = 0;  // 0 when unknown, infinite for live
        bool operator==(const durationUpdate&) const = default;
    };
    // Nothing is played any more.
    struct error {
        std::string error;      // a text for people
        bool canRetry = false;  // true for the engine's errors, false for failed loads
        bool operator==(const struct error&) const = default;
    };
    // The position, about four times a second while the content plays.
    struct timeUpdate {
        double time = 0;  // seconds
        bool operator==(const timeUpdate&) const = default;
    };
    // The languages that selectSubtitle() can choose among.
    struct subtitlesAvailable {
        std::vector<std::string> subtitles;  // language codes
        bool operator==(const subtitlesAvailable&) const = default;
    };
    // Another subtitle shows, or none.
    struct subtitleSelected {
        std::optional<std::string> subtitle;  // a language code; absent when the subtitle was switched off
        bool operator==(const subtitleSelected&) const = default;
    };
    // The content plays faster or slower.
    struct playbackRateChanged {
        double rate = 1;  // 1 for normal speed
        bool operator==(const playbackRateChanged&) const = default;
    };
    // Playback was asked for.
    struct play {
        bool operator==(const play&) const = default;
    };
    // The picture moves.
    struct playing {
        bool operator==(const playing&) const = default;
    };
    // Playback was stopped for a while, or the source ended.
    struct pause {
        bool operator==(const pause&) const = default;
    };
    // There is nothing to show yet, or at the moment.
    struct waiting {
        bool operator==(const waiting&) const = default;
    };
    // The content is over.
    struct ended {
        bool operator==(const ended&) const = default;
    };
    // The sound is off.
    struct muted {
        bool operator==(const muted&) const = default;
    };
    // The sound is on again.
    struct unmuted {
        bool operator==(const unmuted&) const = default;
    };
    // The picture and the controls have moved to the full screen.
    struct enterFullScreen {
        bool operator==(const enterFullScreen&) const = default;
    };
    // They have returned.
    struct exitFullScreen {
        bool operator==(const exitFullScreen&) const = default;
    };
    // An ad begins.
    struct adBegin {
        bool operator==(const adBegin&) const = default;
    };
    // A break begins, the preroll too; the content stands still.
    struct adBreakBegin {
        bool operator==(const adBreakBegin&) const = default;
    };
    // An ad is over.
    struct adEnd {
        bool operator==(const adEnd&) const = default;
    };
    // The content goes on.
    struct adBreakEnd {
        bool operator==(const adBreakEnd&) const = default;
    };

    using Case = std::variant<metadataLoaded, durationUpdate, error, timeUpdate, subtitlesAvailable,
                              subtitleSelected, playbackRateChanged, play, playing, pause, waiting, ended, muted,
                              unmuted, enterFullScreen, exitFullScreen, adBegin, adBreakBegin, adEnd, adBreakEnd>;

    // An event of one of the cases.
    template <class C>
    requires(!std::same_as<std::remove_cvref_t<C>, QuorelPlayerEvent> && std::constructible_from<Case, C>)
        QuorelPlayerEvent(C&& oneCase)
        : value_(std::forward<C>(oneCase)) {}

    template <class C>
    const C* getIf() const {
        return std::get_if<C>(&value_);
    }
    const Case& value() const { return value_; }  // for std::visit
    bool operator==(const QuorelPlayerEvent&) const = default;

private:
    Case value_;
};

// The case's name, as in "timeUpdate".
QUOREL_PLAYER_API std::string_view eventName(const QuorelPlayerEvent& event);
// Name and payload for logs and tools, as in "timeUpdate(time: 1.25)" or "ended".
QUOREL_PLAYER_API std::string describe(const QuorelPlayerEvent& event);

// Implemented by the host. Called on the main run loop's thread, in the middle of what the event tells of: what
// blocks here blocks the player. It may call any operation of the player and must not throw.
class QUOREL_VISIBLE QuorelPlayerListener {
public:
    virtual ~QuorelPlayerListener() = default;
    // Hears of everything above, in order.
    virtual void onEvent(const QuorelPlayerEvent& event) = 0;
};

}  // namespace quorel
