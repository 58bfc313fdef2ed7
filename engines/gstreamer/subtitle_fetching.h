// Private to this room. Loads for text tracks, on the main thread.
#pragma once

#include <memory>

#include "engines/gstreamer/resource_loader.h"
#include "engines/gstreamer/subtitle_renditions.h"
#include "quorel/foundation/run_loop.h"

namespace quorel::gstreamer {

// The tasks keep the loader.
Fetch makeFetch(std::shared_ptr<RunLoop> loop, std::shared_ptr<ResourceLoader> loader);

}  // namespace quorel::gstreamer
