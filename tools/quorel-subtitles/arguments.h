// The command line of quorel-subtitles.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "quorel/subtitles/text_encoding.h"

namespace quorel::subtitles_tool {

enum class Command { convert, shift, info, check, formats };

struct Arguments {
    Command command = Command::formats;
    std::vector<std::string> inputs;  // "-" is standard input
    std::optional<std::string> output;
    std::optional<std::string> from, to;  // extensions of formats that exist, in lower case
    std::optional<TextEncoding> encoding;
    TextEncoding outputEncoding = TextEncoding::utf8;
    double framesPerSecond = 24;
    double offset = 0;  // seconds
    double at = 0;      // seconds
    bool inPlace = false;
    bool recursive = false;
    bool force = false;
    bool strict = false;
    bool quiet = false;
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

// help.cpp
std::string_view helpText();
std::string_view helpText(Command command);

}  // namespace quorel::subtitles_tool
