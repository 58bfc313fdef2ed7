#include "quorel/telemetry/stream_health_monitor.h"

namespace quorel {

void StreamHealthMonitor::stop() {
    if (const auto engine = player.lock())
        engine->removeEventListener(PlayerEventTypes::READY_STATE_CHANGE, listener);
    if (timer) timer->invalidate();
}

}  // namespace quorel
