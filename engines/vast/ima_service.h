// Private to this room. The ad boundary's loader and manager.
#pragma once

#include <memory>

#include "engines/vast/ad_pod_player.h"
#include "quorel/engine/ima.h"

namespace quorel::vast {

std::shared_ptr<IMAFactory> makeIMAFactory(std::shared_ptr<const AdServices> services);

}  // namespace quorel::vast
