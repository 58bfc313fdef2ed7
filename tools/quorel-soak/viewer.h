// Private to this tool. One player and who watches it: what has been heard since the last title was asked for, and that
// nothing is heard once the player has gone. Main run loop's thread only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/engine/player.h"
#include "quorel/player/controller.h"
#include "quorel/player/events.h"

namespace quorel::soak {

class Viewer final : public QuorelPlayerListener, public std::enable_shared_from_this<Viewer> {
public:
    using Tell = std::function<void(const std::string&)>;

    static std::shared_ptr<Viewer> make(Tell tell);

    // Asks for a title, forgetting what was heard before.
    void ask(const std::string& id, double start, const std::optional<std::string>& subtitle);

    enum class Outcome { none, plays, ended, failed, screen };
    Outcome outcome() const;
    const std::string& error() const { return error_; }
    double progress() const { return furthest_; }  // seconds that playback went on for since ask()
    int lines() const { return lines_; }           // of subtitles, since ask()
    // Events that came after `player` had been let go of and its engine was gone.
    int lateEvents() const { return lateEvents_; }
    const std::map<std::string, int>& events() const { return events_; }

    const std::shared_ptr<QuorelPlayerViewController>& player() const { return player_; }
    // Gives up the player. gone() tells when nobody holds it or its engine any more; from then on events are late.
    void leave();
    bool gone();

    void engineMade(const std::shared_ptr<THEOplayer>& engine);
    void onEvent(const QuorelPlayerEvent& event) override;

private:
    explicit Viewer(Tell tell) : tell_(std::move(tell)) {}

    const Tell tell_;
    std::shared_ptr<QuorelPlayerViewController> player_;
    std::weak_ptr<QuorelPlayerViewController> formerPlayer_;
    std::vector<std::weak_ptr<THEOplayer>> engines_;
    std::map<std::string, int> events_;
    Outcome outcome_ = Outcome::none;
    std::string error_;
    std::optional<double> lastTime_;
    double furthest_ = 0;
    int lines_ = 0;
    bool isGone_ = false;
    int lateEvents_ = 0;
};

}  // namespace quorel::soak
