// What quorel-play tells while it plays and when it is done. Main run loop's thread only.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/engine/text_tracks.h"
#include "quorel/player/events.h"

namespace quorel::play {

enum class Outcome {
    ended,        // the title played to its end
    stopped,      // --seconds were over
    interrupted,  // by a signal
    failed,       // an error event, or no progress
    noPicture,    // in time
};

struct Summary {
    std::string contentId;
    Outcome outcome = Outcome::noPicture;
    int exitCode = 3;
    std::optional<std::string> error;
    std::optional<double> firstFrame;     // seconds from setup() to the first picture
    std::optional<double> firstPosition;  // seconds; of the first timeUpdate
    std::optional<double> position;       // seconds; of the last timeUpdate
    std::optional<double> duration;       // seconds
    int width = 0;                        // pixels of the last picture
    int height = 0;
    std::optional<double> frameTime;      // seconds; presentation time of the last picture
    std::map<std::string, int> events;    // how many of each, by name
    int subtitleLines = 0;                // cues that were shown
    std::optional<std::string> snapshot;  // the file that was written
};

class Reporter {
public:
    virtual ~Reporter() = default;

    // `at` is in seconds since setup(). Every event of the player but timeUpdate.
    virtual void event(double at, const QuorelPlayerEvent& event) = 0;
    virtual void timeUpdate(double at, double position, std::optional<double> duration) = 0;
    // What stands in place of a live title: "startSoon", "paused" or "shutdown", and the countdown's text.
    virtual void screen(double at, std::string_view state, const std::string& countdown) = 0;
    virtual void track(const Track& track, bool isShown) = 0;
    virtual void subtitle(double at, const std::string& text) = 0;
    virtual void logged(std::string_view line) = 0;  // by the SDK; any thread
    virtual void summary(const Summary& summary) = 0;
};

std::unique_ptr<Reporter> makeJSONReporter();
// With a progress line that is rewritten in place when standard output is a terminal.
std::unique_ptr<Reporter> makeTextReporter();

}  // namespace quorel::play
