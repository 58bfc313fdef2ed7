// All that a host needs to embed the player; the engine's header comes beside it.
//
//   #include "engines/gstreamer/gstreamer_engine.h"
//   #include "quorel/quorel.h"
//
// See examples/minimal_player.cpp.
#pragma once

#include "quorel/foundation/log.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/player/controller.h"
#include "quorel/player/events.h"
#include "quorel/session/platform_services.h"
#include "quorel/session/quorel.h"
#include "quorel/session/quorel_api.h"
#include "quorel/ui/video_view.h"
