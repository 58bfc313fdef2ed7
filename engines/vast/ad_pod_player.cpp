#include "engines/vast/ad_pod_player.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <utility>

#include "quorel/engine/events.h"
#include "quorel/engine/source_description.h"
#include "quorel/ui/control.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/video_view.h"

namespace quorel::vast {
namespace {

constexpr std::size_t mostFilesTried = 3;
constexpr std::array<std::pair<const char*, double>, 3> quartiles{
    {{"firstQuartile", 0.25}, {"midpoint", 0.5}, {"thirdQuartile", 0.75}}};

}  // namespace

AdPodPlayer::AdPodPlayer(std::shared_ptr<const AdServices> services, AdSelection selection,
                         std::shared_ptr<ui::View> container, Listener listener)
    : services_(std::move(services)),
      selection_(std::move(selection)),
      container_(std::move(container)),
      listener_(std::move(listener)),
      muted_(services_->options.muted) {
    stage_->setBackgroundColor(ui::Color::black());
    stage_->setAccessibilityName("Ad");
}

AdPodPlayer::~AdPodPlayer() {
    clear();
    stage_->removeFromSuperview();
}

void AdPodPlayer::setSound(double volume, bool muted) {
    volume_ = volume;
    muted_ = muted;
    if (!engine_) return;
    engine_->setVolume(volume);
    engine_->setMuted(muted);
}

void AdPodPlayer::later(std::function<void(AdPodPlayer&)> function) {
    services_->loop->post([weak = weak_from_this(), function = std::move(function)] {
        if (const auto self = weak.lock()) function(*self);
    });
}

void AdPodPlayer::startTimer(double seconds, void (AdPodPlayer::*function)()) {
    services_->loop->cancel(timer_);
    timer_ = services_->loop->schedule(durationFromSeconds(seconds), [weak = weak_from_this(), function] {
        if (const auto self = weak.lock()) (self.get()->*function)();
    });
}

void AdPodPlayer::start() {
    if (std::exchange(running_, true)) return;
    container_->addSubview(stage_);
    stage_->pinToSuperviewEdges();
    stage_->addTapRecognizer([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->clicked();
    });
    later([](AdPodPlayer& self) { self.next(); });
}

void AdPodPlayer::next() {
    if (!running_) return;
    if (nextAd_ >= selection_.ads.size()) {
        running_ = false;
        stage_->removeFromSuperview();
        if (listener_.podEnded) listener_.podEnded(report_);
        return;
    }
    current_ = selection_.ads[nextAd_++];
    files_ = playableFiles(current_->linear.mediaFiles, services_->options,
                           {container_->bounds().width, container_->bounds().height});
    file_ = 0;
    began_ = false;
    position_ = 0;
    tracked_.clear();
    progress_.clear();
    waited_ = Duration::zero();
    waitingSince_.reset();
    load();
}

void AdPodPlayer::load() {
    playing_ = false;
    engine_ = services_->engines->makePlayer(std::nullopt, THEOplayerConfigurationBuilder().build());
    engine_->setAutoplay(false);
    engine_->setVolume(volume_);
    engine_->setMuted(muted_);
    engine_->addAsSubview(stage_);
    listen(*engine_);
    SourceDescription source;
    source.source.src = files_[file_].url;
    source.source.type = files_[file_].type;
    startTimer(services_->options.loadTimeout, &AdPodPlayer::watch);
    const auto engine = engine_;
    engine->setSource(source);
    if (!paused_) engine->play();
}

void AdPodPlayer::listen(THEOplayer& engine) {
    const auto on = [&](const auto& type, auto function) {
        using Event = typename std::decay_t<decltype(type)>::Event;
        engine.addEventListener(type, [weak = weak_from_this(), &engine, function](const Event& event) {
            const auto self = weak.lock();
            if (self && self->running_ && self->engine_.get() == &engine) function(*self, event);
        });
    };
    on(PlayerEventTypes::PLAYING, [](AdPodPlayer& self, const PlayingEvent&) {
        self.playing_ = true;
        self.begin();
    });
    on(PlayerEventTypes::TIME_UPDATE,
       [](AdPodPlayer& self, const TimeUpdateEvent& event) { self.moved(event.currentTime); });
    on(PlayerEventTypes::WAITING, [](AdPodPlayer& self, const WaitingEvent&) { self.waiting(); });
    on(PlayerEventTypes::ENDED, [](AdPodPlayer& self, const EndedEvent&) { self.end(Ending::complete); });
    on(PlayerEventTypes::ERROR, [](AdPodPlayer& self, const ErrorEvent& event) {
        if (self.began_)
            self.fail(ErrorCode::fileNotDisplayable, event.error);
        else
            self.tryNextFile(ErrorCode::fileNotDisplayable, event.error);
    });
    on(PlayerEventTypes::VOLUME_CHANGE, [](AdPodPlayer& self, const VolumeChangeEvent& event) {
        if (self.began_) self.track(event.volume > 0 ? "unmute" : "mute", true);
    });
}

void AdPodPlayer::tryNextFile(ErrorCode code, const std::string& problem) {
    if (file_ + 1 >= std::min(files_.size(), mostFilesTried)) return fail(code, problem);
    clear();
    ++file_;
    // Not inside of the broken engine's event.
    later([](AdPodPlayer& self) {
        if (self.running_ && !self.engine_) self.load();
    });
}

void AdPodPlayer::begin() {
    // What plays and shows nothing, a file of text for one, is no ad that anybody saw.
    const auto frames = engine_->videoFrames();
    if (!playing_ || (!began_ && frames && !frames->latestFrame())) return;
    if (waitingSince_) waited_ += services_->loop->now() - *std::exchange(waitingSince_, std::nullopt);
    startTimer(services_->options.stallTimeout, &AdPodPlayer::watch);
    if (std::exchange(began_, true)) return;
    ++report_.played;
    report_.lastSkipped = false;
    const auto keep = shared_from_this();
    if (listener_.adBegan) listener_.adBegan();
    if (!running_ || !engine_) return;
    track("loaded");
    services_->beacons->send(ad().impressions, macros());
    track("creativeView");
    track("start");
    moved(0);
}

void AdPodPlayer::waiting() {
    if (!waitingSince_) waitingSince_ = services_->loop->now();
}

// No picture in time, or none that moves.
void AdPodPlayer::watch() {
    if (!running_ || !engine_) return;
    if (paused_) return startTimer(services_->options.stallTimeout, &AdPodPlayer::watch);
    if (began_)
        fail(ErrorCode::fileNotDisplayable, "The ad stands still.");
    else if (playing_)
        tryNextFile(ErrorCode::fileNotDisplayable, "The ad shows no picture.");
    else
        tryNextFile(ErrorCode::fileTimeout, "The ad did not load in time.");
}

std::optional<double> AdPodPlayer::duration() const {
    const auto real = engine_ ? engine_->duration() : std::nullopt;
    return real && std::isfinite(*real) && *real > 0 ? real : ad().linear.duration;
}

void AdPodPlayer::moved(double position) {
    const auto keep = shared_from_this();
    if (!began_) begin();
    if (!began_ || !engine_) return;
    if (position > position_) startTimer(services_->options.stallTimeout, &AdPodPlayer::watch);
    position_ = position;
    const Duration waited = waited_ + (waitingSince_ ? services_->loop->now() - *waitingSince_ : Duration::zero());
    if (waited > durationFromSeconds(3 * services_->options.stallTimeout)) {
        return fail(ErrorCode::fileNotDisplayable, "The ad stood still for too long.");
    }
    trackProgress();
    const auto whole = duration();
    const bool endless = engine_->duration() && !std::isfinite(*engine_->duration());
    const double limit =
        std::min(services_->options.longestAd, endless && whole ? *whole : services_->options.longestAd);
    if (position >= limit) end(endless && whole && position >= *whole ? Ending::complete : Ending::failed);
}

void AdPodPlayer::trackProgress() {
    const auto whole = duration();
    const auto& trackings = ad().linear.trackings;
    for (std::size_t i = 0; i < trackings.size(); ++i) {
        if (trackings[i].event != "progress" || !trackings[i].offset) continue;
        const auto at = trackings[i].offset->at(whole);
        if (at && position_ >= *at && progress_.insert(i).second) {
            services_->beacons->send({trackings[i].url}, macros());
        }
    }
    if (whole && *whole > 0) {
        for (const auto& [event, part] : quartiles) {
            if (position_ >= *whole * part) track(event);
        }
    }
    if (const auto& skip = ad().linear.skipOffset) {
        const auto at = skip->at(whole);
        if (at && position_ >= *at && !tracked_.contains("(skippable)")) showSkip();
    }
}

void AdPodPlayer::showSkip() {
    tracked_.insert("(skippable)");
    const auto button = std::make_shared<ui::Control>();
    button->setBackgroundColor(ui::Color::black(0.7));
    button->setAccessibilityName(services_->options.skipText);
    const ui::Size room{stage_->bounds().width, stage_->bounds().height};
    button->setFrame({room.width - 176, room.height - 60, 160, 40});
    const auto label = ui::Label::make();
    label->setText(services_->options.skipText);
    label->setTextColor(ui::Color::white());
    label->setAlignment(ui::TextAlignment::center);
    button->addSubview(label);
    label->pinToSuperviewEdges();
    button->addAction(ui::ControlEvent::touchUpInside, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->skip();
    });
    stage_->addSubview(button);
}

void AdPodPlayer::clicked() {
    if (!running_ || !began_ || !current_ || !engine_) return;
    services_->beacons->send(ad().linear.clickTrackings, macros());
    if (ad().linear.clickThrough && services_->options.onClickThrough) {
        services_->options.onClickThrough(services_->beacons->expanded(*ad().linear.clickThrough, macros()));
    }
}

Macros AdPodPlayer::macros() const {
    Macros macros;
    macros.adPlayhead = position_;
    if (listener_.contentPlayhead) macros.contentPlayhead = listener_.contentPlayhead();
    macros.assetURL = files_.empty() ? std::string() : files_[file_].url;
    return macros;
}

void AdPodPlayer::track(const std::string& event, bool again) {
    if (!tracked_.insert(event).second && !again) return;
    services_->beacons->send(urlsOf(ad().linear.trackings, event), macros());
}

void AdPodPlayer::skip() {
    if (!running_ || !began_ || !engine_ || !tracked_.contains("(skippable)")) return;
    track("skip");
    end(Ending::skipped);
}

void AdPodPlayer::fail(ErrorCode code, const std::string& problem) {
    report_.problem = problem;
    Macros values = macros();
    values.errorCode = code;
    services_->beacons->send(ad().errors, values);
    // VAST 4.2, 2.3.1.2: an ad that stands alone may take the place of one of a pod that fails.
    if (!began_ && !selection_.substitutes.empty()) {
        selection_.ads.insert(selection_.ads.begin() + static_cast<std::ptrdiff_t>(nextAd_),
                              selection_.substitutes.front());
        selection_.substitutes.erase(selection_.substitutes.begin());
    }
    end(Ending::failed);
}

void AdPodPlayer::end(Ending ending) {
    const auto keep = shared_from_this();
    if (ending == Ending::complete && !began_) return fail(ErrorCode::fileNotDisplayable, "The ad shows nothing.");
    if (ending == Ending::complete) {
        // An ad that is shorter than the time between two reports has played them all.
        trackProgress();
        for (const auto& [event, part] : quartiles) track(event);
        track("complete");
    }
    report_.lastSkipped = ending == Ending::skipped;
    const bool began = std::exchange(began_, false);
    clear();
    if (began && listener_.adEnded) listener_.adEnded();
    later([](AdPodPlayer& self) { self.next(); });
}

// The engine goes, with its picture and what lies over it.
void AdPodPlayer::clear() {
    services_->loop->cancel(timer_);
    const auto engine = std::exchange(engine_, nullptr);
    if (engine) engine->setSource(std::nullopt);
    while (!stage_->subviews().empty()) stage_->subviews().back()->removeFromSuperview();
}

void AdPodPlayer::pause() {
    if (!running_ || std::exchange(paused_, true)) return;
    if (const auto engine = engine_) engine->pause();
    if (began_) track("pause", true);
}

void AdPodPlayer::resume() {
    if (!running_ || !std::exchange(paused_, false)) return;
    if (began_) track("resume", true);
    if (!engine_) return;
    startTimer(began_ ? services_->options.stallTimeout : services_->options.loadTimeout, &AdPodPlayer::watch);
    const auto engine = engine_;
    engine->play();
}

void AdPodPlayer::stop() {
    if (!std::exchange(running_, false)) return;
    const bool began = std::exchange(began_, false);
    clear();
    stage_->removeFromSuperview();
    if (began && listener_.adEnded) listener_.adEnded();
}

}  // namespace quorel::vast
