// What a simulated source does: how long it takes to load, how long it lasts, where it stalls, breaks or stops for
// ads, and which text tracks it has.
//
//   SimulatedScript film;
//   film.duration = 90;
//   film.stalls = {{.at = 10, .lasts = 2}};
//   film.tracks = {{.label = "Português", .language = "pt-br", .cues = {{1, 3, "Olá"}}}};
//   factory.setScript("https://cdn.example/film.m3u8", film);
//
// Plain values. All times are seconds: positions are seconds of the presentation, delays are seconds of the run
// loop's clock. What is negative or not a number counts as 0.
#pragma once

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "engines/simulated/export.h"

namespace quorel {

// A text between two positions.
struct QUOREL_VISIBLE SimulatedCue {
    double start = 0;  // seconds
    double end = 0;    // a cue that ends where it starts, or before, is never seen
    std::string text = {};
    bool operator==(const SimulatedCue&) const = default;
};

// A text track of the source.
struct QUOREL_VISIBLE SimulatedTrack {
    std::string kind = "subtitles";
    std::string label = {};
    std::string language = {};
    double addAfter = 0;  // delay from the metadata on; 0: ADD_TRACK comes just before LOADED_META_DATA
    std::vector<SimulatedCue> cues = {};
    bool operator==(const SimulatedTrack&) const = default;
};

// Playback that reaches `at` waits there.
struct QUOREL_VISIBLE SimulatedStall {
    double at = 0;     // seconds
    double lasts = 1;  // delay; runs on while paused, ends early when someone seeks
    bool operator==(const SimulatedStall&) const = default;
};

// How the source breaks.
struct QUOREL_VISIBLE SimulatedError {
    std::optional<double> at = {};  // playback that reaches it breaks; absent: instead of the metadata
    std::string text = "The simulated source broke.";
    bool operator==(const SimulatedError&) const = default;
};

// Played once, when playback reaches `offset`; a seek past it skips it until someone seeks back. The content
// stands still meanwhile and goes on exactly where it was.
struct QUOREL_VISIBLE SimulatedAdBreak {
    double offset = 0;             // 0: before the content; the duration or more: after it
    std::vector<double> ads = {};  // the duration of each ad
    bool operator==(const SimulatedAdBreak&) const = default;
};

struct QUOREL_VISIBLE SimulatedScript {
    static constexpr double infinite = std::numeric_limits<double>::infinity();

    double metadataAfter = 0.1;  // delay from setSource() on, or from the interceptor's answer on
    double canPlayAfter = 0;     // delay from the metadata on
    bool neverLoads = false;     // neither metadata nor an error, ever

    std::optional<double> duration = 60.0;  // infinite: live; absent: never learned, and it never ends
    // For live: how much of the presentation exists when the metadata comes. Playback begins at the edge, which
    // moves on with the loop's clock; no position is ever past it. The SDK's player then seeks to its start time, which
    // is the beginning of the presentation: leave 0 for a title that its viewers join at the edge.
    double liveEdge = 0;

    std::vector<SimulatedStall> stalls = {};
    std::optional<SimulatedError> error = {};
    // Empty: a track without cues for each text track of the source description.
    std::vector<SimulatedTrack> tracks = {};
    std::vector<SimulatedAdBreak> adBreaks = {};

    double timeUpdateInterval = 0.25;  // of the loop's clock; at least 0.001
    // 0: a seek is done at the loop's next turn, and nothing but its TIME_UPDATE shows; more: the engine waits.
    double seekTakes = 0;

    // A live source whose edge lies at `edge` seconds when its metadata comes.
    static SimulatedScript live(double edge = 0) {
        SimulatedScript script;
        script.duration = infinite;
        script.liveEdge = edge;
        return script;
    }
    bool operator==(const SimulatedScript&) const = default;
};

}  // namespace quorel
