// One JSON object per line: {"event":"timeUpdate","at":1.204,"time":0.52}, and last {"event":"summary",...}.

#include <cmath>
#include <mutex>
#include <variant>
#include <vector>

#include "quorel/foundation/json.h"
#include "tools/quorel-play/reporter.h"
#include "tools/standard_output.h"

namespace quorel::play {

namespace {

// To the microsecond; JSON has no infinity, which is null here.
JSONValue seconds(double value) {
    if (!std::isfinite(value)) return nullptr;
    return std::round(value * 1e6) / 1e6;
}

JSONValue seconds(std::optional<double> value) {
    return value ? seconds(*value) : nullptr;
}

std::string_view name(Outcome outcome) {
    switch (outcome) {
        case Outcome::ended:
            return "ended";
        case Outcome::stopped:
            return "stopped";
        case Outcome::interrupted:
            return "interrupted";
        case Outcome::failed:
            return "failed";
        case Outcome::noPicture:
            return "noPicture";
    }
    return "";
}

// Sets what the event carries; most carry nothing.
struct Payload {
    JSONObject& object;

    void operator()(const QuorelPlayerEvent::metadataLoaded& event) const {
        object.set("isLive", event.metadata.isLive);
        object.set("duration", seconds(event.metadata.duration));
    }
    void operator()(const QuorelPlayerEvent::durationUpdate& event) const {
        object.set("time", seconds(event.time));
    }
    void operator()(const QuorelPlayerEvent::timeUpdate& event) const { object.set("time", seconds(event.time)); }
    void operator()(const struct QuorelPlayerEvent::error& event) const {
        object.set("error", event.error);
        object.set("canRetry", event.canRetry);
    }
    void operator()(const QuorelPlayerEvent::subtitlesAvailable& event) const {
        object.set("subtitles", JSONArray(event.subtitles.begin(), event.subtitles.end()));
    }
    void operator()(const QuorelPlayerEvent::subtitleSelected& event) const {
        object.set("subtitle", event.subtitle ? JSONValue(*event.subtitle) : JSONValue());
    }
    void operator()(const QuorelPlayerEvent::playbackRateChanged& event) const {
        object.set("rate", seconds(event.rate));
    }
    template <class Case>
    void operator()(const Case&) const {}
};

class JSONReporter final : public Reporter {
public:
    void event(double at, const QuorelPlayerEvent& event) override {
        JSONObject line{{"event", eventName(event)}, {"at", seconds(at)}};
        std::visit(Payload{line}, event.value());
        write(line);
    }

    void timeUpdate(double at, double position, std::optional<double>) override {
        event(at, QuorelPlayerEvent::timeUpdate{position});
    }

    void screen(double at, std::string_view state, const std::string& countdown) override {
        write({{"event", "screen"}, {"at", seconds(at)}, {"state", state}, {"countdown", countdown}});
    }

    void track(const Track& track, bool isShown) override {
        write({{"event", "track"},
               {"kind", track.kind()},
               {"language", track.language()},
               {"label", track.label()},
               {"isShown", isShown}});
    }

    void subtitle(double at, const std::string& text) override {
        write({{"event", "subtitle"}, {"at", seconds(at)}, {"text", text}});
    }

    void logged(std::string_view line) override { write({{"event", "log"}, {"line", line}}); }

    void summary(const Summary& summary) override {
        JSONObject counts;
        for (const auto& [event, count] : summary.events) counts.set(event, count);
        JSONObject line{
            {"event", "summary"},
            {"contentId", summary.contentId},
            {"outcome", name(summary.outcome)},
            {"exitCode", summary.exitCode},
            {"error", summary.error ? JSONValue(*summary.error) : JSONValue()},
            {"firstFrame", seconds(summary.firstFrame)},
            {"firstPosition", seconds(summary.firstPosition)},
            {"position", seconds(summary.position)},
            {"duration", seconds(summary.duration)},
            {"width", summary.width},
            {"height", summary.height},
            {"frameTime", seconds(summary.frameTime)},
            {"subtitleLines", summary.subtitleLines},
            {"events", counts},
            {"snapshot", summary.snapshot ? JSONValue(*summary.snapshot) : JSONValue()},
        };
        write(line);
    }

private:
    void write(const JSONObject& object) {
        const std::string line = serializeJSON(object) + "\n";
        const std::lock_guard lock(mutex_);
        say(line);
    }

    std::mutex mutex_;
};

}  // namespace

std::unique_ptr<Reporter> makeJSONReporter() {
    return std::make_unique<JSONReporter>();
}

}  // namespace quorel::play
