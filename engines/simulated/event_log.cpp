#include "engines/simulated/event_log.h"

#include <algorithm>

namespace quorel {

std::vector<std::string> SimulatedEventLog::names() const {
    std::vector<std::string> names;
    names.reserve(events_.size());
    for (const auto& event : events_) names.push_back(event.name);
    return names;
}

std::vector<std::string> SimulatedEventLog::lines() const {
    std::vector<std::string> lines;
    lines.reserve(events_.size());
    for (const auto& event : events_) {
        lines.push_back(event.detail.empty() ? event.name : event.name + "(" + event.detail + ")");
    }
    return lines;
}

std::size_t SimulatedEventLog::count(std::string_view name) const {
    if (name == "timeupdate") return timeUpdates_;
    return static_cast<std::size_t>(
        std::count_if(events_.begin(), events_.end(), [&](const auto& event) { return event.name == name; }));
}

void SimulatedEventLog::clear() {
    events_.clear();
    timeUpdates_ = 0;
}

}  // namespace quorel
