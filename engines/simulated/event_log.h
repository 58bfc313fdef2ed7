// What a simulated engine told, in order, for assertions:
//
//   EXPECT_EQ(engine->log().names(), (std::vector<std::string>{"play", "playing"}));
//
// Every event of the player, its ads and its text tracks is there but TIME_UPDATE, whose number is counted. The
// run loop's thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engines/simulated/export.h"

namespace quorel {

// One event: when it was told, and what it said.
struct QUOREL_VISIBLE SimulatedEvent {
    std::string name;  // of the event type: "play", "adbreakbegin", "addtrack", ...
    // What the event says: the state's name for "readystatechange", the number for "durationchange" and
    // "volumechange", the text for "error" and cues, language and mode ("pt-br showing") for tracks; else empty.
    std::string detail;
    double time = 0;  // the loop's now(), in seconds
    bool operator==(const SimulatedEvent&) const = default;
};

class QUOREL_SIMULATED_API SimulatedEventLog {
public:
    const std::vector<SimulatedEvent>& events() const { return events_; }
    std::vector<std::string> names() const;
    // Name and detail as one text each: "play", "change(pt-br showing)".
    std::vector<std::string> lines() const;
    std::size_t count(std::string_view name) const;  // "timeupdate" too
    void clear();

    // For the engine.
    void add(SimulatedEvent event) { events_.push_back(std::move(event)); }
    void addTimeUpdate() { ++timeUpdates_; }

private:
    std::vector<SimulatedEvent> events_;
    std::size_t timeUpdates_ = 0;
};

}  // namespace quorel
