// A WebVTTParser on the SDK's own subtitle formats, for engines that bring none.
#pragma once

#include <memory>

#include "quorel/engine/media_framework.h"
#include "quorel/foundation/url_session.h"
#include "quorel/sideload/export.h"

namespace quorel {

// Loads over the session, which it does not keep alive, and completes on the session's thread, or at once for an
// address that is none. A text that is not WebVTT has no cues. The text of a cue is what a viewer reads: without its
// tags, with its character references resolved (WebVTT 4.2.2). Any thread.
QUOREL_SIDELOAD_API std::shared_ptr<WebVTTParser> makeWebVTTParser(std::weak_ptr<UrlSession> session);

}  // namespace quorel
