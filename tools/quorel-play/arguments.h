// The command line of quorel-play.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "quorel/foundation/url.h"

namespace quorel::play {

struct Arguments {
    std::string contentId;
    std::optional<std::string> token;  // always there unless `sandbox`
    std::optional<URL> backend;
    bool sandbox = false;
    std::optional<double> onAirAfter;  // seconds; with `sandbox` only
    bool traceNetwork = false;
    bool debug = false;
    bool listTracks = false;
    std::optional<std::string> snapshot;  // file name
    std::optional<double> seconds;        // of the title, from the first position on
    double start = 0;                     // seconds
    double rate = 1;
    std::optional<std::string> subtitle;
    double timeout = 20;  // seconds
    bool mute = false;
    bool json = false;
};

// A line for standard error; the program ends with exit code 2.
struct UsageError {
    std::string line;
};

// A text for standard output; the program ends with exit code 0.
struct Information {
    std::string text;
};

std::variant<Arguments, UsageError, Information> parseArguments(const std::vector<std::string_view>& words);

}  // namespace quorel::play
