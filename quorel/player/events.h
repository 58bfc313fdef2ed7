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

struct QUOREL_VISIBLE VideoMetadata {
    bool isLive = false;
    double duration = 0;  // seconds; 0 when the engine does not know it
    bool operator==(const VideoMetadata&) const = default;
};

// One of the cases below, each a type of its own. Times are seconds of the presentation. A value; any thread.
class QUOREL_VISIBLE QuorelPlayerEvent {
public:
    struct metadataLoaded {
        VideoMetadata metadata;
        bool operator==(const metadataLoaded&) const = default;
    };
    struct durationUpdate {
        double time = 0;  // 0 when unknown, infinite for live
        bool operator==(const durationUpdate&) const = default;
    };
    struct error {
        std::string error;      // a text for people
        bool canRetry = false;  // true for the engine's errors, false for failed loads
        bool operator==(const struct error&) const = default;
    };
    struct timeUpdate {
        double time = 0;
        bool operator==(const timeUpdate&) const = default;
    };
    struct subtitlesAvailable {
        std::vector<std::string> subtitles;  // language codes
        bool operator==(const subtitlesAvailable&) const = default;
    };
    struct subtitleSelected {
        std::optional<std::string> subtitle;  // a language code; absent when the subtitle was switched off
        bool operator==(const subtitleSelected&) const = default;
    };
    struct playbackRateChanged {
        double rate = 1;
        bool operator==(const playbackRateChanged&) const = default;
    };
    struct play {
        bool operator==(const play&) const = default;
    };
    struct playing {
        bool operator==(const playing&) const = default;
    };
    struct pause {
        bool operator==(const pause&) const = default;
    };
    struct waiting {
        bool operator==(const waiting&) const = default;
    };
    struct ended {
        bool operator==(const ended&) const = default;
    };
    struct muted {
        bool operator==(const muted&) const = default;
    };
    struct unmuted {
        bool operator==(const unmuted&) const = default;
    };
    struct enterFullScreen {
        bool operator==(const enterFullScreen&) const = default;
    };
    struct exitFullScreen {
        bool operator==(const exitFullScreen&) const = default;
    };
    struct adBegin {
        bool operator==(const adBegin&) const = default;
    };
    struct adBreakBegin {
        bool operator==(const adBreakBegin&) const = default;
    };
    struct adEnd {
        bool operator==(const adEnd&) const = default;
    };
    struct adBreakEnd {
        bool operator==(const adBreakEnd&) const = default;
    };

    using Case = std::variant<metadataLoaded, durationUpdate, error, timeUpdate, subtitlesAvailable,
                              subtitleSelected, playbackRateChanged, play, playing, pause, waiting, ended, muted,
                              unmuted, enterFullScreen, exitFullScreen, adBegin, adBreakBegin, adEnd, adBreakEnd>;

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
    virtual void onEvent(const QuorelPlayerEvent& event) = 0;
};

}  // namespace quorel
