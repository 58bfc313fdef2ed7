// Which files the words of the command line mean.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "tools/quorel-subtitles/arguments.h"
#include "tools/quorel-subtitles/failure.h"

namespace quorel::subtitles_tool {

struct Input {
    std::filesystem::path path;           // "-" is standard input
    std::filesystem::path relative;       // to the folder that was named; the file name for all others
    std::optional<Failure> failure = {};  // when there is nothing to read

    bool isStandard() const { return path == "-"; }
};

struct Inputs {
    std::vector<Input> all;
    bool areMany = false;  // whether a folder or a pattern was named, or more than one file
};

// Folders give their files of known formats (with `from`, of that one), in order of names; hidden ones are left
// out. A pattern counts as one when there is no file of that name.
Inputs findInputs(const Arguments& arguments);

}  // namespace quorel::subtitles_tool
