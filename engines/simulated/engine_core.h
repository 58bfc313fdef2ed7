// Private to this room. The simulated engine itself. Its duties have a file each: engine_core.cpp what does not
// depend on a source, loading.cpp the way to a playable source and the end of one, playback.cpp what play() sets
// off, seeking.cpp, ad_breaks.cpp.
//
// A listener may do anything, so every operation first arranges what comes next and then tells what happened; one
// that has more to do after telling looks whether load_ or course_ is still what it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "engines/simulated/event_log.h"
#include "engines/simulated/one_shot.h"
#include "engines/simulated/picture_source.h"
#include "engines/simulated/playback_clock.h"
#include "engines/simulated/script.h"
#include "engines/simulated/simulated_engine.h"
#include "engines/simulated/tracks.h"
#include "quorel/engine/event_dispatcher.h"
#include "quorel/engine/events.h"
#include "quorel/engine/media_framework.h"
#include "quorel/engine/player.h"
#include "quorel/engine/source_description.h"
#include "quorel/engine/text_tracks.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/ui/geometry.h"
#include "quorel/ui/video_view.h"
#include "quorel/ui/view.h"

namespace quorel::simulated {

class EngineCore final : public SimulatedEngine, public std::enable_shared_from_this<EngineCore> {
public:
    using ScriptFor = std::function<SimulatedScript(const SourceDescription&)>;

    // The pointer that is given out closes the engine when its last copy goes, while running operations still hold
    // the memory.
    static std::shared_ptr<SimulatedEngine> make(std::shared_ptr<RunLoop> loop, ScriptFor scriptFor,
                                                 std::optional<ui::Rect> frame);

    EngineCore(std::shared_ptr<RunLoop> loop, ScriptFor scriptFor);

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
    bool paused() const override { return !wanted_; }
    double currentTime() const override { return seekTarget_ ? *seekTarget_ : position(); }
    void setCurrentTime(double time, std::function<void()> completionHandler) override;
    std::optional<double> duration() const override { return duration_; }
    double playbackRate() const override { return clock_.rate(); }
    void setPlaybackRate(double rate) override;
    bool muted() const override { return muted_; }
    void setMuted(bool muted) override { setSound(volume_, muted); }
    double volume() const override { return volume_; }
    void setVolume(double volume) override;
    ReadyState readyState() const override { return ready_; }
    TextTrackList& textTracks() override { return *tracks_; }
    Ads& ads() override { return ads_; }
    DeveloperSettings* developerSettings() override { return &settings_; }
    std::shared_ptr<ui::VideoFrameSource> videoFrames() const override { return frames_; }

    SimulatedEventLog& log() override { return log_; }
    void simulateStall(double seconds) override;
    void simulateError(std::string text) override;
    void simulateDuration(std::optional<double> duration) override;
    void simulateTrack(const SimulatedTrack& track) override;
    void simulateAdBreak(SimulatedAdBreak adBreak) override;
    const std::string& interceptedManifest() const override { return manifest_; }
    const std::vector<std::shared_ptr<Integration>>& integrations() const override { return integrations_; }

private:
    enum class Stage { empty, loading, metadata, playable, broken };
    using Handler = std::function<void()>;

    class Settings final : public DeveloperSettings {
    public:
        std::shared_ptr<ManifestInterceptor> manifestInterceptor() const override { return interceptor_; }
        void setManifestInterceptor(std::shared_ptr<ManifestInterceptor> interceptor) override {
            interceptor_ = std::move(interceptor);
        }

    private:
        std::shared_ptr<ManifestInterceptor> interceptor_;
    };

    struct PlannedBreak {
        SimulatedAdBreak script;
        bool played = false;
    };
    struct RunningBreak {
        std::vector<double> ads;
        std::size_t next = 0;
        bool inAd = false;
    };

    // engine_core.cpp
    void close();
    void setSound(double volume, bool muted);
    void record(std::string_view name, std::string detail);
    void callLater(std::vector<Handler> handlers);
    void setReady(ReadyState state);
    void tellTime(double position);
    template <class E>
    void tell(const EventType<E>& type, const std::type_identity_t<E>& event = {}, std::string detail = {}) {
        if (closed_) return;
        record(type.name, std::move(detail));
        dispatchEvent(type, event);
    }
    template <class E>
    void tellOfAds(const EventType<E>& type) {
        if (closed_) return;
        record(type.name, {});
        ads_.dispatchEvent(type, {});
    }

    // loading.cpp
    void beginLoading();
    void askInterceptor();
    void scheduleMetadata();
    void becomeMetadata();
    void addTracksThatAreDue();
    void becomePlayable();
    bool becomeReady();
    void standStill();
    void fail(std::string text);

    // playback.cpp
    double position() const;
    double liveEdge() const;
    double end() const;  // infinite when there is none
    double clamped(double time) const;
    bool mayMove() const;
    bool isWaiting() const;
    void announce();
    void hold();
    void goOn();
    void resume();
    void arm();
    void move();
    void finish();
    void beginStall(double seconds);
    void endStall();
    void tellWaiting();

    // seeking.cpp
    void startSeek(double target);
    void finishSeek();

    // ad_breaks.cpp
    double startOf(const PlannedBreak& planned) const;
    double nextBreak(double from) const;
    bool startBreakThatIsDue();
    void stepBreak();
    void tellEndOfBreak(const std::optional<RunningBreak>& running);

    const std::shared_ptr<RunLoop> loop_;
    const ScriptFor scriptFor_;
    SimulatedEventLog log_;
    Settings settings_;
    Ads ads_;
    std::shared_ptr<TrackList> tracks_;
    std::shared_ptr<PictureSource> frames_;
    std::shared_ptr<ui::VideoView> view_;
    bool placed_ = false;  // someone gave the picture a frame
    std::vector<std::shared_ptr<Integration>> integrations_;
    bool closed_ = false;
    bool autoplay_ = false;
    bool muted_ = false;
    double volume_ = 1;

    // Of the source.
    std::uint64_t load_ = 0;    // changes when what was under way for a source is void
    std::uint64_t course_ = 0;  // changes with load_, and when playback takes another turn than it was about to
    Stage stage_ = Stage::empty;
    std::optional<SourceDescription> source_;
    SimulatedScript script_;
    std::string manifest_;
    ReadyState ready_ = ReadyState::haveNothing;
    std::optional<double> duration_;
    Duration metadataAt_{0};
    std::size_t tracksAdded_ = 0;
    OneShot loadTimer_;
    OneShot trackTimer_;

    // Of its playback.
    bool wanted_ = false;       // play() was called, or autoplay
    bool announced_ = false;    // PLAY was told, PAUSE not yet
    bool playingTold_ = false;  // PLAYING was told, and nothing since that ends it
    bool waitingTold_ = false;  // WAITING was told, and neither PLAYING nor CAN_PLAY_THROUGH since
    PlaybackClock clock_;
    OneShot playbackTimer_;
    Duration nextTick_{0};
    double boundary_ = 0;  // the position that playbackTimer_ is armed for at the latest
    std::size_t nextStall_ = 0;
    bool stalled_ = false;
    OneShot stallTimer_;
    std::optional<double> seekTarget_;
    std::vector<Handler> seekHandlers_;
    OneShot seekTimer_;
    std::vector<PlannedBreak> breaks_;  // by their offset
    std::optional<RunningBreak> break_;
    OneShot adTimer_;
};

// Positions nearer than this are the same one, in seconds; the loop's clock and binary fractions differ by less.
inline constexpr double samePosition = 1e-6;

std::string shortestText(double number);

}  // namespace quorel::simulated
