// Tells the service every 10 seconds that somebody watches: one ping with what the player shows at that moment.
//
//   auto analytics = AnalyticsController::make(Quorel::shared());
//   analytics->start("film-1", player);      // the first ping comes 10 s later, with "sequencia" 0
//   analytics->stop();
//
// There is no other record than the ping: what a viewer does shows only as values of the next one. Every failure is
// silent, and a ping that is lost stays lost.
//
// Main run loop's thread only.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/engine/engine.h"
#include "quorel/foundation/task.h"
#include "quorel/foundation/timer.h"
#include "quorel/foundation/url.h"
#include "quorel/session/quorel.h"
#include "quorel/telemetry/analytics_api.h"
#include "quorel/telemetry/export.h"

namespace quorel {

// The engine events that the controller listens to.
enum class ListenerName { playing, waiting };

class QUOREL_TELEMETRY_API AnalyticsController : public std::enable_shared_from_this<AnalyticsController> {
public:
    static constexpr double interval = 10.0;  // seconds

    // `session` must outlive it, and have services whenever it is started.
    static std::shared_ptr<AnalyticsController> make(Quorel& session,
                                                     std::string_view ingestURL = AnalyticsAPI::defaultBaseURL());

    // Begins to ping, with the sequence at 0 again. The timer keeps this controller alive until stop(); the engine
    // is held weakly, and without it nothing is sent. Deliberately not undone by a second start: the first one's
    // listeners stay with their engine for good, and whether the engine is waiting is remembered.
    void start(const std::string& contentId, const std::shared_ptr<THEOplayer>& player);
    // No ping is begun after it; that of a tick a moment before still goes out. May be called at any time, again as well.
    void stop();
    // What the timer does every 10 seconds.
    void logTime();

    std::int64_t sequence() const { return sequence_; }  // of the next ping

private:
    AnalyticsController(Quorel& session, std::string_view ingestURL);

    // What is read at the tick; the rest is read when the payload is built, a turn of the loop later.
    struct Ping {
        std::string contentId;
        std::string vendorId;
        bool isRebuffering = false;
        std::int64_t bufferSize = 0;
        URL source;
        double time = 0;  // seconds
        std::string host;
    };
    void sendPing(bool isRebuffering, std::int64_t bufferSize, double time);
    static Task<void> post(std::shared_ptr<AnalyticsController> controller, std::shared_ptr<THEOplayer> player,
                           Ping ping);

    Quorel& session_;
    AnalyticsAPI api_;
    std::int64_t sequence_ = 0;
    std::weak_ptr<THEOplayer> player_;
    std::optional<std::string> contentId_;
    // A timer that runs belongs to its loop, and keeps this controller: held strongly, the two would outlive the loop.
    std::weak_ptr<Timer> timer_;
    std::map<ListenerName, EventListener> listeners_;
    double bufferStartTime_ = 0;  // seconds since 1970; 0 while the engine is not waiting
};

}  // namespace quorel
