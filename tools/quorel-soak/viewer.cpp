#include "tools/quorel-soak/viewer.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "quorel/engine/events.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/player/content_state.h"

namespace quorel::soak {

std::shared_ptr<Viewer> Viewer::make(Tell tell) {
    std::shared_ptr<Viewer> viewer(new Viewer(std::move(tell)));
    viewer->player_ = QuorelPlayerViewController::make();
    viewer->player_->registerPlayerListener(viewer);
    viewer->player_->layoutIn({0, 0, 640, 360});
    return viewer;
}

void Viewer::ask(const std::string& id, double start, const std::optional<std::string>& subtitle) {
    outcome_ = Outcome::none;
    error_.clear();
    lastTime_.reset();
    furthest_ = 0;
    lines_ = 0;
    player_->setup(id, /*hideUI=*/false, start, subtitle, {{"soak", "yes"}});
}

void Viewer::engineMade(const std::shared_ptr<THEOplayer>& engine) {
    engine->textTracks().addEventListener(
        TextTrackListEventTypes::ADD_TRACK, [weak = weak_from_this()](const AddTrackEvent& added) {
            if (!added.track) return;
            added.track->addEventListener(TextTrackEventTypes::ENTER_CUE, [weak](const EnterCueEvent&) {
                if (const auto viewer = weak.lock()) ++viewer->lines_;
            });
        });
    // What was made before and is gone need not be remembered.
    std::erase_if(engines_, [](const auto& one) { return one.expired(); });
    engines_.push_back(engine);
}

Viewer::Outcome Viewer::outcome() const {
    if (outcome_ != Outcome::none || !player_) return outcome_;
    const ContentState state = player_->contentState();
    const bool hasScreen = state != ContentState::idle && state != ContentState::live;
    return hasScreen ? Outcome::screen : Outcome::none;
}

void Viewer::leave() {
    if (!player_) return;
    player_->stopAnalytics();
    player_->unmount();
    formerPlayer_ = std::exchange(player_, nullptr);
}

bool Viewer::gone() {
    if (player_ || !formerPlayer_.expired()) return false;
    isGone_ = std::all_of(engines_.begin(), engines_.end(), [](const auto& one) { return one.expired(); });
    return isGone_;
}

void Viewer::onEvent(const QuorelPlayerEvent& event) {
    if (event.getIf<QuorelPlayerEvent::timeUpdate>() == nullptr) tell_(describe(event));
    if (isGone_) {
        ++lateEvents_;
        return;
    }
    ++events_[std::string(eventName(event))];
    if (const auto* update = event.getIf<QuorelPlayerEvent::timeUpdate>()) {
        // A seek moves the position, too; going on is what comes in small steps.
        const double step = lastTime_ ? update->time - *lastTime_ : 0;
        if (step > 0 && step < 5) furthest_ += step;
        lastTime_ = update->time;
        if (furthest_ >= 0.4) outcome_ = Outcome::plays;
    } else if (const auto* failed = event.getIf<struct QuorelPlayerEvent::error>()) {
        outcome_ = Outcome::failed;
        error_ = failed->error;
    } else if (event.getIf<QuorelPlayerEvent::ended>() != nullptr) {
        outcome_ = Outcome::ended;
    } else if (event.getIf<QuorelPlayerEvent::adBegin>() != nullptr) {
        outcome_ = Outcome::plays;
    } else if (event.getIf<QuorelPlayerEvent::metadataLoaded>() != nullptr && player_) {
        player_->play();  // live content waits for its host
    }
}

}  // namespace quorel::soak
