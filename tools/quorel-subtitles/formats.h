// What the converter knows about the formats beyond what their coders say.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/subtitles.h"

namespace quorel::subtitles_tool {

struct Format {
    std::string_view extension;
    std::string_view name;
    bool isWritten = true;
    bool isBytes = false;  // says its encoding itself, so that none is detected; always written in UTF-8
    bool isXML = false;
    // What is written, and is read back unless it says otherwise.
    bool keepsIdentifiers = false;
    bool readsIdentifiers = true;
    bool keepsSpeakers = false;
    bool keepsEnds = true;
    bool keepsLines = true;       // texts of more than one
    bool keepsEmptyLines = true;  // within a text; else a cue ends there, and what follows cannot be read
    bool keepsBlankLines = true;  // the same of lines of nothing but white space
    bool keepsEmptyTexts = true;
    // A negative time stops the process that reads it.
    bool mayStopProcess = false;
};

const Format* findFormat(std::string_view extension);  // any case; null when there is none
std::string allExtensions();                           // "srt, vtt, ... or ssa"

// Takes out of the document what would keep the file from being read again. Gives what is lost in the format, with
// that, in a phrase each.
std::vector<std::string> fit(Subtitles& document, const Format& format);

int listFormats(bool json);

}  // namespace quorel::subtitles_tool
