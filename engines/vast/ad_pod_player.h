// Private to this room. Plays the ads of one break, one after the other, each through an engine of its own in a view,
// and tells the ad servers what is seen of them. Every wait is bounded: the pod ends, whatever the ads do. Main thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engines/vast/ad_resolver.h"
#include "engines/vast/beacons.h"
#include "engines/vast/options.h"
#include "engines/vast/vast.h"
#include "quorel/engine/player.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/ui/view.h"

namespace quorel::vast {

// What everything of one ad service shares. The last one of them goes before the loop.
struct AdServices {
    std::shared_ptr<RunLoop> loop;
    std::shared_ptr<EngineFactory> engines;
    std::shared_ptr<Beacons> beacons;
    std::shared_ptr<AdResolver> resolver;
    AdServiceOptions options;
};

class AdPodPlayer : public std::enable_shared_from_this<AdPodPlayer> {
public:
    struct Report {
        std::size_t played = 0;    // ads that began
        bool lastSkipped = false;  // by the viewer
        std::string problem;       // of the ad that failed last
    };
    struct Listener {
        std::function<void()> adBegan;
        std::function<void()> adEnded;  // once for each adBegan
        std::function<void(const Report&)> podEnded;
        std::function<double()> contentPlayhead;  // seconds; may be empty
    };

    AdPodPlayer(std::shared_ptr<const AdServices> services, AdSelection selection,
                std::shared_ptr<ui::View> container, Listener listener);
    // As stop(), and without a word to the listener.
    ~AdPodPlayer();

    void setSound(double volume, bool muted);
    void start();  // once; the listener hears of it at later turns
    void pause();
    void resume();
    void skip();  // the ad that plays, if it may be skipped by now
    // Ends it: adEnded if an ad plays, no podEnded.
    void stop();
    bool isRunning() const { return running_; }

private:
    enum class Ending { complete, skipped, failed };

    const PlayableAd& ad() const { return *current_; }
    void next();
    void load();
    void tryNextFile(ErrorCode code, const std::string& problem);
    void listen(THEOplayer& engine);
    void begin();
    void moved(double position);
    void trackProgress();  // what is due at position_
    void waiting();
    void watch();
    void fail(ErrorCode code, const std::string& problem);
    void end(Ending ending);
    void clear();
    void showSkip();
    void clicked();
    std::optional<double> duration() const;
    Macros macros() const;
    void track(const std::string& event, bool again = false);
    void later(std::function<void(AdPodPlayer&)> function);
    void startTimer(double seconds, void (AdPodPlayer::*function)());

    const std::shared_ptr<const AdServices> services_;
    AdSelection selection_;
    const std::shared_ptr<ui::View> container_;
    const Listener listener_;
    const std::shared_ptr<ui::View> stage_ = ui::View::make();  // of the picture and the skip button
    double volume_ = 1;
    bool muted_ = false;
    bool running_ = false;
    bool paused_ = false;
    Report report_;

    // Of the ad that plays.
    std::size_t nextAd_ = 0;
    std::optional<PlayableAd> current_;
    std::vector<MediaFile> files_;
    std::size_t file_ = 0;
    std::shared_ptr<THEOplayer> engine_;
    bool playing_ = false;
    bool began_ = false;  // and shows something
    double position_ = 0;
    std::set<std::string> tracked_;
    std::set<std::size_t> progress_;  // places in the list of trackings
    std::optional<Duration> waitingSince_;
    Duration waited_{0};
    RunLoop::TimerId timer_ = 0;
};

}  // namespace quorel::vast
