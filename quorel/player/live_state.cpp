#include "quorel/player/controller.h"

namespace quorel {

// Until live state is evaluated, all content counts as on air.
bool QuorelPlayerViewController::evaluateLiveState() {
    return false;
}

}  // namespace quorel
