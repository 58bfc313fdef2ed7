// What went wrong with one file, as a compiler says it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorel::subtitles_tool {

struct Failure {
    std::string message;
    std::int64_t line = 0;   // from 1; 0 for none
    std::string found = {};  // what stands on that line
};

// Of the exception that is being handled. `text` is what was decoded, for errors that count bytes.
Failure currentFailure(std::string_view text = {});

// "Permission denied" of an errno, after what could not be done.
Failure systemFailure(std::string_view what, int code);

// For terminals and for JSON: UTF-8 without control characters.
std::string printable(std::string_view text);

}  // namespace quorel::subtitles_tool
