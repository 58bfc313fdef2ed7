// WebVTT (".vtt", https://www.w3.org/TR/webvtt1/): cues with identifiers, times, texts and speakers. Cue settings,
// notes, styles and regions are read over.
//
//   const std::string text = Subtitles::Coder::VTT().encode(document);
//
// Any thread.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::VTT final : public SubtitlesLineCoder<Subtitles::Coder::VTT> {
public:
    static constexpr std::string_view extn = "vtt";
    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;

    // Blocks of lines are separated by lines of no length (a blank is a line). The first line must contain
    // "WEBVTT"; blocks that begin with such a line are skipped, and so are those that begin with NOTE, STYLE or
    // REGION. A cue's timing is its first line, or its second below an identifier; it may use "," for ".", lack
    // the hours, and have any text around it. A block of one line that is no timing is skipped. One voice tag, "<v
    // Anna>", becomes the speaker and leaves the text; two or more stay. Throws SubTitlesError:
    //  - invalidFile: no "WEBVTT" in the first line, or no line;
    //  - invalidTime, line from 0, that of the second line: neither of the first two lines is a timing.
    Subtitles decode(std::string_view content) const override;
    // "<" and ">" in speakers become "."; nothing is escaped in texts. A cue without identifier opens with an
    // empty line: deliberate, and harmless to readers of blocks. Never throws. Positions are not written.
    std::string encode(const Subtitles& subtitles) const override;
};

}  // namespace quorel
