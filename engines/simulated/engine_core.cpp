#include "engines/simulated/engine_core.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "engines/simulated/test_picture.h"

namespace quorel::simulated {

std::string shortestText(double number) {
    std::array<char, 32> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

std::shared_ptr<SimulatedEngine> EngineCore::make(std::shared_ptr<RunLoop> loop, ScriptFor scriptFor,
                                                  std::optional<ui::Rect> frame) {
    auto core = std::make_shared<EngineCore>(std::move(loop), std::move(scriptFor));
    if (frame) core->setFrame(*frame);
    EngineCore* const engine = core.get();
    return {engine, [core = std::move(core)](SimulatedEngine*) mutable {
                core->close();
                core = nullptr;
            }};
}

EngineCore::EngineCore(std::shared_ptr<RunLoop> loop, ScriptFor scriptFor)
    : loop_(std::move(loop)),
      scriptFor_(std::move(scriptFor)),
      tracks_(std::make_shared<TrackList>(
          [this](std::string_view name, std::string detail) { record(name, std::move(detail)); },
          [this] {
              if (stage_ != Stage::playable || seekTarget_) return;
              const auto self = shared_from_this();
              tracks_->moveTo(position());
              if (clock_.running()) arm();
          })),
      frames_(std::make_shared<PictureSource>()),
      view_(ui::VideoView::make(frames_)),
      loadTimer_(*loop_),
      trackTimer_(*loop_),
      clock_(*loop_),
      playbackTimer_(*loop_),
      stallTimer_(*loop_),
      seekTimer_(*loop_),
      adTimer_(*loop_) {}

void EngineCore::close() {
    closed_ = true;
    standStill();
    wanted_ = false;
    stage_ = Stage::empty;
    tracks_->close();
    frames_->clear();
    view_->removeFromSuperview();
}

void EngineCore::record(std::string_view name, std::string detail) {
    log_.add({std::string(name), std::move(detail), secondsFromDuration(loop_->now())});
}

void EngineCore::callLater(std::vector<Handler> handlers) {
    if (handlers.empty()) return;
    loop_->post([weak = weak_from_this(), handlers = std::move(handlers)] {
        for (const auto& handler : handlers) {
            const auto self = weak.lock();
            if (self && !self->closed_ && handler) handler();
        }
    });
}

void EngineCore::setReady(ReadyState state) {
    static constexpr std::array names = {"haveNothing", "haveMetadata", "haveCurrentData", "haveFutureData",
                                         "haveEnoughData"};
    if (ready_ == state) return;
    ready_ = state;
    tell(PlayerEventTypes::READY_STATE_CHANGE, {state}, names[static_cast<std::size_t>(state)]);
}

void EngineCore::tellTime(double position) {
    if (closed_) return;
    frames_->show(position, simulatedContentColor);
    log_.addTimeUpdate();
    dispatchEvent(PlayerEventTypes::TIME_UPDATE, {position});
}

void EngineCore::addIntegration(std::shared_ptr<Integration> integration) {
    integrations_.push_back(std::move(integration));
}

void EngineCore::addAsSubview(const std::shared_ptr<ui::View>& view) {
    if (!view) return;
    view->addSubview(view_);
    view->sendSubviewToBack(view_);
    if (!placed_) view_->pinToSuperviewEdges();
}

void EngineCore::setFrame(const ui::Rect& frame) {
    placed_ = true;
    view_->setFrame(frame);
}

void EngineCore::setVolume(double volume) {
    if (!std::isnan(volume)) setSound(std::clamp(volume, 0.0, 1.0), muted_);
}

void EngineCore::setSound(double volume, bool muted) {
    const auto self = shared_from_this();
    const auto heard = [this] { return muted_ ? 0.0F : static_cast<float>(volume_); };
    const float before = heard();
    volume_ = volume;
    muted_ = muted;
    if (heard() != before)
        tell(PlayerEventTypes::VOLUME_CHANGE, {heard()}, shortestText(static_cast<double>(heard())));
}

void EngineCore::setPlaybackRate(double rate) {
    if (!std::isfinite(rate)) return;
    rate = std::clamp(rate, 0.1, 16.0);
    if (rate == clock_.rate()) return;
    const auto self = shared_from_this();
    clock_.setPosition(position());
    clock_.setRate(rate);
    if (clock_.running()) arm();
    tell(PlayerEventTypes::RATE_CHANGE);
}

void EngineCore::simulateDuration(std::optional<double> duration) {
    if ((stage_ != Stage::metadata && stage_ != Stage::playable) || duration == duration_) return;
    if (duration && !(*duration >= 0)) return;
    const auto self = shared_from_this();
    const double here = position();
    duration_ = duration;
    if (duration && std::isinf(*duration)) {
        script_.liveEdge = here;
        metadataAt_ = loop_->now();
    }
    if (clock_.running()) {
        arm();
    } else {
        clock_.setPosition(clamped(here));
        if (seekTarget_) seekTarget_ = clamped(*seekTarget_);
    }
    tell(PlayerEventTypes::DURATION_CHANGE, {duration}, duration ? shortestText(*duration) : "");
}

void EngineCore::simulateTrack(const SimulatedTrack& track) {
    if (stage_ != Stage::metadata && stage_ != Stage::playable) return;
    const auto self = shared_from_this();
    tracks_->add(track);
}

}  // namespace quorel::simulated
