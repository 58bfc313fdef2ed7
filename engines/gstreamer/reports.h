// Private to this room. What a pipeline tells its player. Times are seconds on the player's clock.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <variant>
#include <vector>

#include "engines/gstreamer/failure.h"
#include "engines/gstreamer/subtitle_renditions.h"

namespace quorel::gstreamer {

// What the master playlist offers to read. Comes before Prerolled, if there is any.
struct Renditions {
    std::vector<SubtitleRendition> renditions;
};
// Loaded, and the first picture or sound is ready. Always the first report of a session about playback, unless that is
// Failed.
struct Prerolled {
    std::optional<double> duration;        // infinite for live
    std::optional<TimelineAnchor> anchor;  // absent where the stream's own time stamps are not known
};
struct DurationChanged {
    std::optional<double> duration;
};
// The seek is over, and the pipeline is where it went.
struct SeekDone {
    std::uint64_t seek = 0;
    double position = 0;
};
// Whether there is something to play, or rather to wait.
struct Fed {
    bool fed = false;
};
// Playback runs; `play` is the number that the player gave its wish.
struct Running {
    std::uint64_t play = 0;
    double position = 0;
};
// About four times a second while playback runs.
struct Position {
    double position = 0;
    std::uint64_t seek = 0;  // the last one that was done before
};
struct Ended {
    std::uint64_t seek = 0;  // as in Position
    double position = 0;
};
// Always the last report of a session.
struct Failed {
    Failure failure;
};

struct Report {
    std::uint64_t session = 0;
    std::variant<Renditions, Prerolled, DurationChanged, SeekDone, Fed, Running, Position, Ended, Failed> what;
};

// Called on the engine's thread, and for Renditions on one of the gateway.
using Reporter = std::function<void(Report)>;

}  // namespace quorel::gstreamer
