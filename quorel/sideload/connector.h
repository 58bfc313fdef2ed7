// The public switch of subtitle sideloading.
//
//   SideloadedSubtitleConnector::SHOW_DEBUG_LOGS = true;
#pragma once

#include <atomic>

#include "quorel/sideload/export.h"

namespace quorel {

struct QUOREL_VISIBLE SideloadedSubtitleConnector {
    SideloadedSubtitleConnector() = delete;

    // Whether playlists, requests and transformed subtitles are written to the log. Errors always are. Any thread.
    static inline std::atomic<bool> SHOW_DEBUG_LOGS = false;
};

}  // namespace quorel
