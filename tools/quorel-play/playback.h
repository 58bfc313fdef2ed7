// One run of quorel-play: sets the SDK up, plays the title, watches, and sums up.
#pragma once

#include <memory>

#include "quorel/engine/engine.h"
#include "quorel/foundation/run_loop.h"
#include "tools/quorel-play/arguments.h"
#include "tools/quorel-play/reporter.h"

namespace quorel::play {

// Runs `loop`, which `engines` use, until the run is over, and gives the exit code. Everything it saw has then
// gone to the reporter.
int play(const Arguments& arguments, const std::shared_ptr<RealRunLoop>& loop,
         std::shared_ptr<EngineFactory> engines, Reporter& reporter);

}  // namespace quorel::play
