// What the backend said of a live title when it was looked at last.
#pragma once

namespace quorel {

enum class ContentState {
    idle,       // nothing yet: no live title has been looked at
    startSoon,  // a start screen, and once the date has passed a text that counts
    paused,     // a pause screen
    shutdown,   // an end screen
    live,       // on air
};

}  // namespace quorel
