// From a file, or standard input, to a document.
#pragma once

#include "quorel/subtitles/subtitles.h"
#include "tools/quorel-subtitles/arguments.h"
#include "tools/quorel-subtitles/formats.h"
#include "tools/quorel-subtitles/inputs.h"

namespace quorel::subtitles_tool {

struct Reading {
    Subtitles document;
    const Format* format;
    TextEncoding encoding;
    std::size_t bytes;
};

// Throws Failure.
Reading read(const Input& input, const Arguments& arguments);

}  // namespace quorel::subtitles_tool
