// The player: given a content id it makes an engine, asks the backend what the content is, hands the engine a
// source with subtitles and Cast metadata, and tells one listener what happens.
//
//   auto player = QuorelPlayerViewController::make();
//   player->registerPlayerListener(listener);         // before setup(); the host keeps the listener alive
//   player->setup("film-1", /*hideUI=*/false, /*startTime=*/0, "pt-br", {});
//   window.show(player->view());                      // and player->layoutIn(...) when the window's size changes
//
// Everything here belongs to the main run loop's thread. Releasing the last reference pauses the engine and ends
// the player; a load that is under way keeps the player until it is done.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/engine.h"
#include "quorel/foundation/notification.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/timer.h"
#include "quorel/player/content_state.h"
#include "quorel/player/events.h"
#include "quorel/player/export.h"
#include "quorel/presentation/quorel_image_view.h"
#include "quorel/presentation/quorel_player_ui.h"
#include "quorel/session/models.h"
#include "quorel/session/quorel.h"
#include "quorel/session/quorel_api.h"
#include "quorel/telemetry/analytics_controller.h"
#include "quorel/telemetry/stream_health_monitor.h"
#include "quorel/ui/view.h"
#include "quorel/ui/view_controller.h"

namespace quorel {

class AdPlayerViewController;

class QUOREL_PLAYER_API QuorelPlayerViewController final : public ui::ViewController {
public:
    // With the process's session and its backend client.
    static std::shared_ptr<QuorelPlayerViewController> make();
    // With others, which must outlive the player and its loads.
    static std::shared_ptr<QuorelPlayerViewController> make(Quorel& session, QuorelAPI& api);
    ~QuorelPlayerViewController() override;

    // Starts to load the content with the id `with`, in place of whatever is there, and returns at once. Never
    // fails: what goes wrong comes as an `error` event with `canRetry` false, and the screen shows nothing of it.
    //
    // `startTime` (seconds) is where playback begins, `subtitle` the language code of the subtitle to show, in any
    // case; `customImaParams` is extra ad targeting. Once any configuration has been loaded, a call with the id of
    // the call before changes nothing at all, not even `startTime`. Two loads at once are not ordered: the one
    // that finishes later wins.
    void setup(const std::string& with, bool hideUI, double startTime, const std::optional<std::string>& subtitle,
               std::map<std::string, std::string> customImaParams);

    // The one listener, held weakly. Ignored while there is an engine, so it is to be called before setup(). Once
    // a load has begun with it, that load's engine keeps it alive: a listener that holds the player must do so
    // weakly.
    void registerPlayerListener(const std::shared_ptr<QuorelPlayerListener>& listener);

    // Shows the text tracks of this language, in lower case as the engine has it, and hides all others; absent hides
    // all. Before `metadataLoaded` there are no tracks, and nothing happens. Tells changes by `subtitleSelected`.
    void selectSubtitle(const std::optional<std::string>& subtitle);

    // These go to the engine; without one nothing happens.
    void play();
    void pause();
    void seekTo(double time);  // seconds
    void setPlaybackRate(double rate);
    // These are remembered for the engines to come, too.
    void mute();
    void unmute();
    // Calls back at once, with the position in seconds, or 0 without an engine.
    void getCurrentTime(const std::function<void(double)>& callback) const;

    // Tells analytics every 10 seconds what is being watched; needs a content and an engine, and does nothing without
    // them. Live content on air starts by itself, other content never does. Only stopAnalytics() ends it.
    void startAnalytics();
    void stopAnalytics();

    // What was found when a live title was loaded last; idle before the first one, and never again after it.
    ContentState contentState() const { return contentState_; }

    // Pauses and lets go of the engine, and ends a preroll without an event. The content's configuration stays, so that
    // setup() with the same id does nothing after it.
    void unmount();

    // The engine of the current load; null before the first one and after unmount().
    const std::shared_ptr<THEOplayer>& player() const { return player_; }
    // The overlay of the current load; null before the first one.
    const std::shared_ptr<QuorelPlayerUI>& playerUI() const { return playerUI_; }

    // Asks for the live status once, as the poll does every 10 seconds from the first load of live content on.
    void updateLivePlayerStatus();

    // To full screen, which a host shows as the presented controller (ui::ViewController::setPresenter), and back:
    // the picture and the overlay move there and return. Nothing before the first load. The way in and out is this
    // one only; whoever takes the full screen away by himself leaves isFullScreen() true.
    void toggleFullScreen();
    bool isFullScreen() const { return isFullScreen_; }

    ui::InterfaceOrientationMask supportedInterfaceOrientations() const override {
        return ui::InterfaceOrientationMask::landscape;
    }
    ui::InterfaceOrientation preferredInterfaceOrientationForPresentation() const override {
        return ui::InterfaceOrientation::landscapeRight;
    }
    bool prefersHomeIndicatorAutoHidden() const override { return true; }

    // For the SDK's other rooms. The slot of a monitor that is stopped when the player ends; nothing fills it yet.
    std::shared_ptr<StreamHealthMonitor>& healthMonitor() { return healthMonitor_; }
    // Registers all engine listeners with this public listener, which they keep alive.
    void registerEngineListeners(const std::shared_ptr<QuorelPlayerListener>& listener,
                                 const std::shared_ptr<THEOplayer>& player);
    // Does nothing once the public listener is gone.
    void removeEngineListeners(THEOplayer& player);

protected:
    void viewDidLoad() override;
    void viewDidLayoutSubviews() override;

private:
    QuorelPlayerViewController(Quorel& session, QuorelAPI& api);

    std::shared_ptr<QuorelPlayerViewController> self();
    void sendToListener(const QuorelPlayerEvent& event) const;

    // loading.cpp
    static Task<void> load(std::shared_ptr<QuorelPlayerViewController> controller, std::string id);
    Task<PlayerConfigModel> loadContent(std::string id, std::shared_ptr<THEOplayer> player);
    void loadSource(PlayerConfigModel config);

    // live_state.cpp
    bool evaluateLiveState();  // true when a status screen owns the view, so that no source is to be set
    void showStatusScreen(const std::string& image);
    void setContentState(ContentState state);
    static Task<void> refreshConfig(std::shared_ptr<QuorelPlayerViewController> controller, std::string id);
    void checkCDN(const CDN& cdn);
    void startStatusTimer();
    static Task<void> pollTick(std::weak_ptr<QuorelPlayerViewController> controller);
    static Task<void> fetchStatus(std::shared_ptr<QuorelPlayerViewController> controller, std::string id);
    void startCountdown();
    void updateCountdownTimer();

    // advertising.cpp
    void startPreroll(const GoogleImaAdDescription& ad);
    void removePreroll();
    void abandonPreroll();
    void finishPreroll();

    // lifecycle.cpp
    void applicationDidBecomeActive();
    void stopObservingApplicationState();

    // subtitle_selection.cpp
    void subtitleAdded(const std::shared_ptr<Track>& added, QuorelPlayerListener& listener);
    void subtitleChanged(const std::shared_ptr<Track>& changed, QuorelPlayerListener& listener);

    // status_views.cpp: each made and added to the view by its first use.
    const std::shared_ptr<QuorelImageView>& statusImage();
    const std::shared_ptr<ui::View>& liveView();
    const std::shared_ptr<ui::Label>& timerView();
    void layoutStatusViews();

    Quorel& session_;
    QuorelAPI& api_;

    // What is loaded.
    std::optional<std::string> contentId_;
    std::optional<PlayerConfigModel> config_;
    std::optional<LiveStreamDetailModel> liveDetails_;  // of live content
    std::optional<PlayerStatus> liveStatus_;            // of live content
    std::optional<VideoDetailModel> videoDetail_;       // of on-demand content
    bool isLive_ = false;

    // What is known of its being live. Timers that run belong to the run loop.
    ContentState contentState_ = ContentState::idle;
    std::int64_t lastCDNUpdate_ = 0;       // 0: no status was seen yet
    std::weak_ptr<Timer> timerStatus_;     // holds the controller weakly
    std::weak_ptr<Timer> countdownTimer_;  // holds it strongly

    // Who watches the watching.
    const std::shared_ptr<AnalyticsController> analyticsController_;
    std::shared_ptr<StreamHealthMonitor> healthMonitor_;

    // What plays it.
    std::shared_ptr<THEOplayer> player_;
    std::weak_ptr<QuorelPlayerListener> listener_;
    std::map<std::string, EventListener, std::less<>> internalListeners_;  // by the keys of engine_listeners.cpp
    std::shared_ptr<AdPlayerViewController> prerollAdVC_;                  // present while it owns the screen
    bool isInAdBreak_ = false;
    bool muted_ = false;
    double currentTime_ = 0;  // seconds; the last position outside an ad break

    // Where it is shown.
    bool isFullScreen_ = false;
    std::weak_ptr<NotificationCenter> notificationCenter_;
    std::optional<NotificationCenter::ObserverToken> applicationStateObserver_;

    // What the host asked for.
    bool hideUI_ = true;
    double startTime_ = 0;  // seconds
    bool hasSetStartTime_ = false;
    std::optional<std::string> currentSubtitle_;  // language code in lower case
    std::map<std::string, std::string> customImaParams_;

    // What is seen of it.
    const std::shared_ptr<ui::View> viewHolder_ = ui::View::make();  // the engine's picture and the overlay
    std::shared_ptr<QuorelPlayerUI> playerUI_;
    std::shared_ptr<QuorelImageView> statusImage_;
    std::shared_ptr<ui::View> liveView_;
    std::shared_ptr<ui::Label> timerView_;
};

}  // namespace quorel
