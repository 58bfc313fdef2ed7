// SubRip text (".srt").
//
//   const Subtitles document = Subtitles::Coder::SRT().decode(text);
//   const std::string again = Subtitles::Coder::SRT().encode(document);
//
// Any thread.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::SRT final : public SubtitlesLineCoder<Subtitles::Coder::SRT> {
public:
    static constexpr std::string_view extn = "srt";
    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;

    // Cues are an index line, a timing line and text lines, and end at a blank line; all lines are trimmed. The
    // timing line holds exactly one "0:00:00,000 --> 0:00:00,000", whose end minute has two digits; what stands
    // around it is ignored. Throws SubTitlesError, and keeps nothing of the document:
    //  - invalidPosition, line from 1: no integer where an index is due;
    //  - invalidTime, line from 0: no timing where one is due; line -1 when the file ends behind an index;
    //  - invalidFile: a blank line behind an index.
    // A cue with the index -1 at the very end, with no blank line behind it, is dropped: -1 stands for no cue.
    Subtitles decode(std::string_view content) const override;
    // Numbers are positions, or the last number plus one where there is none. Never throws. Identifiers and
    // speakers are not written.
    std::string encode(const Subtitles& subtitles) const override;
};

}  // namespace quorel
