// The SubViewer-like text with start and end on one line (".sbv").
//
// Any thread.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::SBV final : public SubtitlesLineCoder<Subtitles::Coder::SBV> {
public:
    static constexpr std::string_view extn = "sbv";
    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;

    // Cues are a line "0:00:00.000,0:00:00.000", whose end minute has two digits, and at least one text line, up
    // to a line of no length. Positions are counted from 1. Throws SubTitlesError:
    //  - invalidTime, line from 0: no timing where one is due, or no text behind it (the line that stands there);
    //  - unexpectedEOF: the file ends with a timing line.
    Subtitles decode(std::string_view content) const override;
    // Never throws. Positions, identifiers and speakers are not written.
    std::string encode(const Subtitles& subtitles) const override;
};

}  // namespace quorel
