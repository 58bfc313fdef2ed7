// How the pipeline's reports become events. Every handler stops where a listener has ended what it is about: emit()
// gives false, and then nothing may be touched any more.
#include <cmath>
#include <limits>
#include <utility>

#include "engines/gstreamer/diagnosis.h"
#include "engines/gstreamer/player.h"
#include "engines/gstreamer/subtitle_fetching.h"

namespace quorel::gstreamer {

void Player::handle(const Report& report) {
    if (failed_) return;
    std::visit([this](const auto& what) { on(what); }, report.what);
}

bool Player::setReadyState(ReadyState state) {
    if (std::exchange(readyState_, state) == state) return true;
    return emit(PlayerEventTypes::READY_STATE_CHANGE, {state});
}

bool Player::emitTimeUpdate(double position) {
    const bool moving = movingSince_.has_value();
    setPosition(position, false);  // so that a listener that asks for the time reads what it is told
    if (!emit(PlayerEventTypes::TIME_UPDATE, {{position}})) return false;
    if (moving && playingTold_ && !seekTarget_) setPosition(position, true);
    return true;
}

void Player::on(const Renditions& report) {
    const auto anchor = [player = weak_from_this()]() -> std::optional<TimelineAnchor> {
        const auto alive = player.lock();
        return alive ? alive->anchor_ : std::nullopt;
    };
    subtitles_ = SubtitleSource{report.renditions, makeFetch(services_->loop, loader_), anchor};
}

bool Player::beginTextTracks() {
    if (!subtitles_) return true;
    if (services_->options.drawSubtitles && !std::exchange(textPrepared_, true)) {
        services_->threads.run([frames = frames_] { frames->prepareText(); });
    }
    const std::weak_ptr<Player> alive = weak_from_this();
    const std::uint64_t session = session_;
    return textTracks_->begin(*std::exchange(subtitles_, std::nullopt)) && !alive.expired() && session == session_;
}

void Player::on(const Prerolled& report) {
    duration_ = report.duration;
    anchor_ = report.anchor;
    if (seekTarget_) seekTarget_ = limited(*seekTarget_);
    if (!setReadyState(ReadyState::haveMetadata)) return;
    if (!emit(PlayerEventTypes::DURATION_CHANGE, {duration_})) return;
    if (!beginTextTracks()) return;
    if (!emit(PlayerEventTypes::LOADED_META_DATA)) return;
    becomeReady();
}

// Also where a listener's seek has put off the readiness: whatever comes last of preroll, seek and data ends here.
void Player::becomeReady() {
    if (!fed_ || seekTarget_ || ready() || readyState_ == ReadyState::haveNothing) return;
    if (!setReadyState(ReadyState::haveEnoughData)) return;
    if (!emit(PlayerEventTypes::CAN_PLAY)) return;
    waitingTold_ = false;
    if (!emit(PlayerEventTypes::CAN_PLAY_THROUGH)) return;
    if (!paused_ && !playTold_ && !tellPlay()) return;
    applyPlaying();
}

void Player::on(const DurationChanged& report) {
    if (duration_ == report.duration) return;
    duration_ = report.duration;
    emit(PlayerEventTypes::DURATION_CHANGE, {duration_});
}

void Player::on(const Fed& report) {
    fed_ = report.fed;
    if (fed_) {
        becomeReady();
        return;
    }
    if (!ready()) return;
    setPosition(currentTime(), false);
    if (!setReadyState(ReadyState::haveCurrentData)) return;
    if (playTold_ && !fed_) tellWaiting();
}

void Player::on(const SeekDone& report) {
    if (report.seek != seek_ || !seekTarget_) return;
    const bool live = duration_ == std::numeric_limits<double>::infinity();
    // A live window may have moved on; elsewhere the place is the wanted one, to the precision of the medium.
    const double position =
        live && std::abs(report.position - *seekTarget_) > 0.1 ? report.position : *seekTarget_;
    finishSeek();  // the handlers come at a later turn, so behind the TIME_UPDATE
    textTracks_->jumpTo(position);
    setPosition(position, false);
    if (emitTimeUpdate(position)) becomeReady();
}

void Player::on(const Running& report) {
    if (report.play != play_ || !playTold_ || seekTarget_) return;
    setPosition(report.position, true);
    if (!fed_ || std::exchange(playingTold_, true)) return;
    waitingTold_ = false;
    emit(PlayerEventTypes::PLAYING);
}

void Player::on(const Position& report) {
    if (seekTarget_ || report.seek != seek_ || ended_) return;
    if (playTold_ && playingTold_) emitTimeUpdate(limited(report.position));
}

void Player::on(const Ended& report) {
    if (seekTarget_ || report.seek != seek_) return;
    ended_ = true;
    const bool bounded = duration_ && std::isfinite(*duration_);
    setPosition(bounded ? *duration_ : report.position, false);
    if (!emitTimeUpdate(position_) || !ended_) return;
    paused_ = true;
    playingTold_ = false;
    if (std::exchange(playTold_, false)) {
        applyPlaying();
        if (!emit(PlayerEventTypes::PAUSE) || !ended_) return;
    }
    emit(PlayerEventTypes::ENDED);
}

void Player::on(const Failed& report) {
    failed_ = true;
    const std::string address = source_->source.src;
    const auto url = URL::parse(address);
    if (!url || !Diagnosis::canHelp(report.failure) || services_->options.diagnosisTimeout <= 0) {
        giveUp(describe(report.failure, address));
        return;
    }
    diagnosis_ =
        Diagnosis::start(*services_->loop, services_->session, report.failure, *url,
                         services_->options.diagnosisTimeout, [this](const std::string& error) { giveUp(error); });
}

void Player::giveUp(const std::string& error) {
    diagnosis_ = nullptr;
    setPosition(currentTime(), false);
    textTracks_->halt();
    finishSeek();
    paused_ = true;
    playingTold_ = wantPlaying_ = false;
    if (std::exchange(playTold_, false) && !emit(PlayerEventTypes::PAUSE)) return;
    emit(PlayerEventTypes::ERROR, {error});
}

}  // namespace quorel::gstreamer
