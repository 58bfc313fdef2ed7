// The command line of quorel-soak. Pure functions and values; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace quorel::soak {

struct Arguments {
    double seconds = 3600;
    std::uint64_t seed = 1;
    std::uint64_t firstRound = 1;
    std::optional<std::string> json;  // a file for the summary
    bool verbose = false;             // every event and every line of the log
};

struct Message {
    std::string text;
    int exitCode = 0;
};

std::variant<Arguments, Message> parseArguments(const std::vector<std::string_view>& arguments);

}  // namespace quorel::soak
