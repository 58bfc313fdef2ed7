// Which text track is shown. currentSubtitle_ holds the wanted language, in lower case where the host gave it and
// as the engine has it where the viewer chose it; languages are compared as the engine gives them.
#include <cstddef>

#include "quorel/foundation/text.h"
#include "quorel/player/controller.h"

namespace quorel {

using Event = QuorelPlayerEvent;

void QuorelPlayerViewController::subtitleAdded(const std::shared_ptr<Track>& added,
                                               QuorelPlayerListener& listener) {
    const auto track = std::dynamic_pointer_cast<TextTrack>(added);
    if (!track) return;
    if (track->kind() == "captions") {
        track->setMode(TextTrackMode::hidden);
        return;
    }
    if (currentSubtitle_ != track->language()) return;
    track->setMode(TextTrackMode::showing);
    listener.onEvent(Event::subtitleSelected{track->language()});
}

void QuorelPlayerViewController::subtitleChanged(const std::shared_ptr<Track>& changed,
                                                 QuorelPlayerListener& listener) {
    const auto track = std::dynamic_pointer_cast<TextTrack>(changed);
    if (!track) return;
    const TextTrackMode mode = track->mode();
    if (currentSubtitle_) {
        const bool switchedOff = mode == TextTrackMode::hidden || mode == TextTrackMode::disabled;
        if (currentSubtitle_ != track->language() || !switchedOff) return;
        currentSubtitle_.reset();
        listener.onEvent(Event::subtitleSelected{std::nullopt});
    } else if (mode == TextTrackMode::showing) {
        currentSubtitle_ = track->language();
        listener.onEvent(Event::subtitleSelected{currentSubtitle_});
    }
}

void QuorelPlayerViewController::selectSubtitle(const std::optional<std::string>& subtitle) {
    const std::shared_ptr<THEOplayer> player = player_;
    if (!player) return;
    const std::optional<std::string> wanted = subtitle ? std::optional(asciiLowercased(*subtitle)) : std::nullopt;
    // Neither writes currentSubtitle_ nor sends anything: the engine's CHANGE events do both.
    for (std::size_t i = 0; i < player->textTracks().count(); ++i) {
        const std::shared_ptr<TextTrack> track = player->textTracks().get(i);
        if (!track) continue;
        if (wanted != track->language()) {
            track->setMode(TextTrackMode::hidden);
        } else if (track->mode() != TextTrackMode::showing) {
            track->setMode(TextTrackMode::showing);
        }
    }
}

}  // namespace quorel
