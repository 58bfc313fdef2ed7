// Private to this room. The engine object on the main thread: what the outside sees of a pipeline.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "engines/gstreamer/engine_thread.h"
#include "engines/gstreamer/gstreamer_engine.h"
#include "engines/gstreamer/pipeline.h"
#include "engines/gstreamer/playlist_gateway.h"
#include "engines/gstreamer/reports.h"
#include "engines/gstreamer/text_tracks.h"
#include "engines/gstreamer/video_frames.h"
#include "quorel/engine/engine.h"
#include "quorel/foundation/url_session.h"

namespace quorel::gstreamer {

class Diagnosis;

// What a factory and its players share. The last of them waits for the threads, while the loop is still there.
struct Services {
    std::shared_ptr<RunLoop> loop;
    GStreamerOptions options;
    UrlSession session;
    PlaylistGateway gateway;
    ThreadPark threads;

    Services(std::shared_ptr<RunLoop> mainLoop, const GStreamerOptions& chosen);
};

class Settings final : public DeveloperSettings {
public:
    std::shared_ptr<ManifestInterceptor> manifestInterceptor() const override { return interceptor_; }
    void setManifestInterceptor(std::shared_ptr<ManifestInterceptor> interceptor) override {
        interceptor_ = std::move(interceptor);
    }

private:
    std::shared_ptr<ManifestInterceptor> interceptor_;
};

class Player final : public THEOplayer, public std::enable_shared_from_this<Player> {
public:
    explicit Player(std::shared_ptr<Services> services);
    ~Player() override;
    void start(std::optional<ui::Rect> frame);  // once, as soon as it is held by a shared_ptr

    void addIntegration(std::shared_ptr<Integration> integration) override;
    void addAsSubview(const std::shared_ptr<ui::View>& view) override;
    ui::Rect frame() const override { return view_->frame(); }
    void setFrame(const ui::Rect& frame) override;
    ui::Rect bounds() const override { return view_->bounds(); }

    const std::optional<SourceDescription>& source() const override { return source_; }
    void setSource(std::optional<SourceDescription> source) override;
    bool autoplay() const override { return autoplay_; }
    void setAutoplay(bool autoplay) override { autoplay_ = autoplay; }

    void play() override;
    void pause() override;
    void stop(std::function<void()> completionHandler) override;
    bool paused() const override { return paused_; }

    double currentTime() const override;
    void setCurrentTime(double time, std::function<void()> completionHandler) override;
    std::optional<double> duration() const override { return duration_; }

    double playbackRate() const override { return rate_; }
    void setPlaybackRate(double rate) override;
    bool muted() const override { return muted_; }
    void setMuted(bool muted) override;
    double volume() const override { return volume_; }
    void setVolume(double volume) override;

    ReadyState readyState() const override { return readyState_; }
    TextTrackList& textTracks() override { return *textTracks_; }
    Ads& ads() override { return *ads_; }
    DeveloperSettings* developerSettings() override { return &settings_; }
    std::shared_ptr<ui::VideoFrameSource> videoFrames() const override { return frames_; }

private:
    using Clock = std::chrono::steady_clock;
    using Handlers = std::vector<std::function<void()>>;

    // False when a listener has replaced the source or released the engine: then nothing of it may be touched.
    template <class E>
    bool emit(const EventType<E>& type, const std::type_identity_t<E>& event = {});
    bool emitTimeUpdate(double position);
    void later(std::function<void()> function);  // at a later turn, unless the engine is gone by then
    void command(std::function<void(Pipeline&)> function);

    // player.cpp: what the outside asks for
    bool endSource();
    bool tellPlay();
    bool tellWaiting();
    void applyPlaying();
    bool ready() const { return readyState_ >= ReadyState::haveFutureData; }
    double limited(double time) const;
    void setPosition(double position, bool moving);
    float heardVolume() const { return static_cast<float>(muted_ ? 0 : volume_); }
    void changeVolume(double volume, bool muted);

    // player_reports.cpp: what the pipeline tells
    void handle(const Report& report);
    void on(const Renditions& report);
    void on(const Prerolled& report);
    void on(const DurationChanged& report);
    void on(const SeekDone& report);
    void on(const Fed& report);
    void on(const Running& report);
    void on(const Position& report);
    void on(const Ended& report);
    void on(const Failed& report);
    bool beginTextTracks();
    void becomeReady();
    bool setReadyState(ReadyState state);
    void finishSeek();
    void giveUp(const std::string& error);

    const std::shared_ptr<Services> services_;
    const std::shared_ptr<FrameStore> frames_;
    const std::shared_ptr<ui::VideoView> view_;
    const std::shared_ptr<SubtitleTracks> textTracks_;
    const std::shared_ptr<Ads> ads_;
    std::vector<std::shared_ptr<Integration>> integrations_;
    std::shared_ptr<EngineThread> thread_;
    std::shared_ptr<Pipeline> pipeline_;  // used on the thread only, but for expect()

    bool autoplay_ = false;
    double rate_ = 1;
    bool muted_ = false;
    double volume_ = 1;

    Settings settings_;
    std::optional<SourceDescription> source_;
    std::shared_ptr<ResourceLoader> loader_;  // of the source
    std::uint64_t session_ = 0;               // grows with every source
    ReadyState readyState_ = ReadyState::haveNothing;
    std::optional<double> duration_;
    std::optional<TimelineAnchor> anchor_;
    std::optional<SubtitleSource> subtitles_;  // until their tracks are told
    bool textPrepared_ = false;
    bool paused_ = true;
    bool playTold_ = false;     // PLAY was told, and PAUSE not yet
    bool playingTold_ = false;  // PLAYING was told, and neither PAUSE nor WAITING yet
    bool waitingTold_ = false;  // WAITING was told, and neither PLAYING nor CAN_PLAY_THROUGH yet
    bool fed_ = false;
    bool ended_ = false;
    bool failed_ = false;
    std::uint64_t play_ = 0;
    bool wantPlaying_ = false;  // what the pipeline was told last

    std::uint64_t seek_ = 0;
    std::optional<double> seekTarget_;
    Handlers seekHandlers_;
    double position_ = 0;
    std::optional<Clock::time_point> movingSince_;  // when position_ was right; absent while it stands still

    std::shared_ptr<Diagnosis> diagnosis_;
};

template <class E>
bool Player::emit(const EventType<E>& type, const std::type_identity_t<E>& event) {
    const std::weak_ptr<Player> alive = weak_from_this();
    const std::uint64_t session = session_;
    dispatchEvent(type, event);
    return !alive.expired() && session == session_;
}

}  // namespace quorel::gstreamer
