#include "engines/gstreamer/player.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "engines/gstreamer/diagnosis.h"

namespace quorel::gstreamer {
namespace {

std::string addressOf(const SourceDescription& source) {
    const auto sources = source.sources();
    return sources.empty() ? std::string() : sources.front().src;
}

// The longest playlists are those of whole days, and have some megabytes; what is larger is none.
UrlSession::Configuration forPlaylists(const GStreamerOptions& options) {
    UrlSession::Configuration configuration;
    configuration.caFile = options.caFile;
    configuration.maximumBodySize = 16u << 20;
    return configuration;
}

}  // namespace

Services::Services(std::shared_ptr<RunLoop> mainLoop, const GStreamerOptions& chosen)
    : loop(std::move(mainLoop)), options(chosen), session(forPlaylists(options)) {}

Player::Player(std::shared_ptr<Services> services)
    : services_(std::move(services)),
      frames_(std::make_shared<FrameStore>()),
      view_(ui::VideoView::make(frames_)),
      textTracks_(std::make_shared<SubtitleTracks>(
          *services_->loop, services_->options.missingTimestampMap,
          [frames = frames_, draws = services_->options.drawSubtitles](const SubtitleCues& cues) {
              if (draws) frames->setCues(cues);
          })),
      ads_(std::make_shared<Ads>()) {
    view_->setAccessibilityName("Video");
}

void Player::start(std::optional<ui::Rect> frame) {
    if (frame) view_->setFrame(*frame);
    thread_ = services_->threads.start();
    // The loop outlives the thread, which the last of the services' owners waits for.
    const auto reporter = [loop = services_->loop.get(), player = weak_from_this()](Report report) {
        loop->post([player, report = std::move(report)] {
            // Not held while the listeners run: one that releases the engine ends it there and then.
            Player* const alive = player.lock().get();
            if (alive != nullptr && alive->session_ == report.session) alive->handle(report);
        });
    };
    pipeline_ = std::make_shared<Pipeline>(thread_->context(), services_->threads, services_->gateway,
                                           services_->options, frames_, reporter);
}

Player::~Player() {
    if (diagnosis_) diagnosis_->abandon();
    textTracks_->close();
    view_->removeFromSuperview();
    frames_->begin(++session_);
    pipeline_->expect(session_);
    thread_->post([thread = thread_.get(), pipeline = std::move(pipeline_)]() mutable {
        pipeline->unload();
        pipeline = nullptr;
        thread->finish();
    });
}

void Player::command(std::function<void(Pipeline&)> function) {
    thread_->post([pipeline = pipeline_.get(), function = std::move(function)] { function(*pipeline); });
}

void Player::later(std::function<void()> function) {
    services_->loop->post([player = weak_from_this(), function = std::move(function)] {
        if (!player.expired()) function();
    });
}

void Player::addIntegration(std::shared_ptr<Integration> integration) {
    integrations_.push_back(std::move(integration));
}

void Player::addAsSubview(const std::shared_ptr<ui::View>& view) {
    const bool placed = view_->frame() != ui::Rect{};
    view->addSubview(view_);
    view->sendSubviewToBack(view_);
    if (!placed) view_->pinToSuperviewEdges();
}

void Player::setFrame(const ui::Rect& frame) {
    view_->setFrame(frame);
}

bool Player::endSource() {
    if (diagnosis_) std::exchange(diagnosis_, nullptr)->abandon();
    const std::uint64_t session = ++session_;
    pipeline_->expect(session);
    frames_->begin(session);
    command([](Pipeline& pipeline) { pipeline.unload(); });

    loader_ = nullptr;
    duration_.reset();
    anchor_.reset();
    subtitles_.reset();
    fed_ = ended_ = failed_ = wantPlaying_ = playingTold_ = waitingTold_ = false;
    setPosition(0, false);
    finishSeek();
    paused_ = true;
    const bool wasPlaying = std::exchange(playTold_, false);
    const bool hadState = std::exchange(readyState_, ReadyState::haveNothing) != ReadyState::haveNothing;
    textTracks_->halt();
    if (wasPlaying && !emit(PlayerEventTypes::PAUSE)) return false;
    const std::weak_ptr<Player> alive = weak_from_this();
    if (!textTracks_->removeAll() || alive.expired() || session != session_) return false;
    return !hadState || emit(PlayerEventTypes::READY_STATE_CHANGE, {ReadyState::haveNothing});
}

void Player::setSource(std::optional<SourceDescription> source) {
    source_.reset();
    // A listener that sets a source itself comes later in time, and its source stays.
    if (!endSource() || !source) return;
    source_ = std::move(source);
    paused_ = !autoplay_;
    const std::string address = addressOf(*source_);
    if (address.empty()) {
        const auto kind = source_->source.ssai ? Failure::Kind::adInsertion : Failure::Kind::noAddress;
        later([this, session = session_, kind] {
            if (session == session_) on(Failed{{.kind = kind}});
        });
        return;
    }
    // The interceptor of this moment is the source's; another one is for the next.
    loader_ =
        std::make_shared<ResourceLoader>(services_->session, services_->threads, settings_.manifestInterceptor());
    GatewaySource loaded{.address = address, .type = source_->source.type, .loader = loader_};
    command([session = session_, loaded = std::move(loaded)](Pipeline& pipeline) mutable {
        pipeline.load(session, std::move(loaded));
    });
}

void Player::stop(std::function<void()> completionHandler) {
    const std::weak_ptr<Player> alive = weak_from_this();
    setSource(std::nullopt);
    if (!completionHandler || alive.expired()) return;
    // Behind the unloading, on both threads.
    thread_->post([loop = services_->loop.get(), alive, completionHandler = std::move(completionHandler)] {
        loop->post([alive, completionHandler] {
            if (!alive.expired()) completionHandler();
        });
    });
}

bool Player::tellPlay() {
    playTold_ = true;
    if (!emit(PlayerEventTypes::PLAY)) return false;
    return !playTold_ || fed_ || tellWaiting();
}

bool Player::tellWaiting() {
    playingTold_ = false;
    return std::exchange(waitingTold_, true) || emit(PlayerEventTypes::WAITING);
}

void Player::applyPlaying() {
    const bool wanted = playTold_ && !failed_;
    if (wanted == wantPlaying_) return;
    wantPlaying_ = wanted;
    command([wanted, play = ++play_](Pipeline& pipeline) { pipeline.setPlaying(wanted, play); });
}

void Player::play() {
    if (!source_ || failed_ || !paused_) return;
    paused_ = false;
    if (std::exchange(ended_, false)) setCurrentTime(0, {});
    if (readyState_ < ReadyState::haveCurrentData) return;
    if (tellPlay()) applyPlaying();
}

void Player::pause() {
    if (paused_) return;
    paused_ = true;
    setPosition(currentTime(), false);
    playingTold_ = false;
    if (!std::exchange(playTold_, false)) return;
    applyPlaying();
    emit(PlayerEventTypes::PAUSE);
}

double Player::limited(double time) const {
    if (duration_ == std::numeric_limits<double>::infinity()) return time;
    return std::clamp(time, 0.0, std::max(0.0, duration_.value_or(std::numeric_limits<double>::max())));
}

void Player::setPosition(double position, bool moving) {
    position_ = position;
    movingSince_ = moving ? std::optional(Clock::now()) : std::nullopt;
    textTracks_->setClock(position, moving ? rate_ : 0);
}

double Player::currentTime() const {
    if (seekTarget_) return *seekTarget_;
    if (!movingSince_) return position_;
    const std::chrono::duration<double> since = Clock::now() - *movingSince_;
    // The pipeline corrects it four times a second; should it fall silent, the clock does not run away.
    return limited(position_ + std::min(since.count(), 0.5) * rate_);
}

void Player::setCurrentTime(double time, std::function<void()> completionHandler) {
    if (!std::isfinite(time) || !source_ || failed_) {
        if (completionHandler) later(std::move(completionHandler));
        return;
    }
    if (!seekTarget_) setPosition(currentTime(), false);
    finishSeek();
    if (completionHandler) seekHandlers_.push_back(std::move(completionHandler));
    ended_ = false;
    seekTarget_ = limited(time);
    command([seek = ++seek_, target = *seekTarget_](Pipeline& pipeline) { pipeline.seek(seek, target); });
}

void Player::finishSeek() {
    seekTarget_.reset();
    for (auto& handler : std::exchange(seekHandlers_, {})) later(std::move(handler));
}

void Player::setPlaybackRate(double rate) {
    if (!std::isfinite(rate)) return;
    rate = std::clamp(rate, 0.1, 16.0);
    if (rate == rate_) return;
    setPosition(seekTarget_ ? position_ : currentTime(), movingSince_.has_value());
    rate_ = rate;
    textTracks_->setClock(position_, movingSince_ ? rate_ : 0);
    command([rate](Pipeline& pipeline) { pipeline.setRate(rate); });
    emit(PlayerEventTypes::RATE_CHANGE);
}

void Player::setMuted(bool muted) {
    changeVolume(volume_, muted);
}

void Player::setVolume(double volume) {
    if (!std::isnan(volume)) changeVolume(std::clamp(volume, 0.0, 1.0), muted_);
}

void Player::changeVolume(double volume, bool muted) {
    if (volume == volume_ && muted == muted_) return;
    const float before = heardVolume();
    volume_ = volume;
    muted_ = muted;
    command([volume, muted](Pipeline& pipeline) { pipeline.setVolume(volume, muted); });
    if (heardVolume() != before) emit(PlayerEventTypes::VOLUME_CHANGE, {heardVolume()});
}

}  // namespace quorel::gstreamer
