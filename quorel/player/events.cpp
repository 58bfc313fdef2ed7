#include "quorel/player/events.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>

namespace quorel {
namespace {

using Event = QuorelPlayerEvent;

constexpr std::array<std::string_view, std::variant_size_v<Event::Case>> names{
    "metadataLoaded",
    "durationUpdate",
    "error",
    "timeUpdate",
    "subtitlesAvailable",
    "subtitleSelected",
    "playbackRateChanged",
    "play",
    "playing",
    "pause",
    "waiting",
    "ended",
    "muted",
    "unmuted",
    "enterFullScreen",
    "exitFullScreen",
    "adBegin",
    "adBreakBegin",
    "adEnd",
    "adBreakEnd",
};

struct Payload {
    std::string operator()(const Event::metadataLoaded& event) const {
        return fmt::format("(isLive: {}, duration: {})", event.metadata.isLive, event.metadata.duration);
    }
    std::string operator()(const Event::durationUpdate& event) const {
        return fmt::format("(time: {})", event.time);
    }
    std::string operator()(const Event::error& event) const {
        return fmt::format("(error: \"{}\", canRetry: {})", event.error, event.canRetry);
    }
    std::string operator()(const Event::timeUpdate& event) const { return fmt::format("(time: {})", event.time); }
    std::string operator()(const Event::subtitlesAvailable& event) const {
        return fmt::format("(subtitles: [{}])", fmt::join(event.subtitles, ", "));
    }
    std::string operator()(const Event::subtitleSelected& event) const {
        return fmt::format("(subtitle: {})", event.subtitle.value_or("none"));
    }
    std::string operator()(const Event::playbackRateChanged& event) const {
        return fmt::format("(rate: {})", event.rate);
    }
    template <class WithoutPayload>
    std::string operator()(const WithoutPayload&) const {
        return {};
    }
};

}  // namespace

std::string_view eventName(const QuorelPlayerEvent& event) {
    return names[event.value().index()];
}

std::string describe(const QuorelPlayerEvent& event) {
    return std::string(eventName(event)) + std::visit(Payload(), event.value());
}

}  // namespace quorel
