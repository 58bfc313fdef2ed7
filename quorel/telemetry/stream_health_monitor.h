// A place kept for watching a stream through its engine's readiness changes. Nothing measures yet: it has what such a
// monitor would hold on to, and lets go of it.
//
// Main run loop's thread only.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "quorel/engine/engine.h"
#include "quorel/foundation/timer.h"
#include "quorel/telemetry/export.h"

namespace quorel {

class QUOREL_TELEMETRY_API StreamHealthMonitor {
public:
    // Takes the listener off the engine, where that still lives, and ends the timer. Releasing the monitor does
    // neither.
    void stop();

    std::weak_ptr<THEOplayer> player;
    EventListener listener;  // of READY_STATE_CHANGE
    std::shared_ptr<Timer> timer;
    std::optional<std::string> videoId;
};

}  // namespace quorel
