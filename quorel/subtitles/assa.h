// SubStation Alpha scripts, plain (SSA) and advanced (ASS): reading only.
//
//   Subtitles::Coder::AdvancedSSA().decode(script);
//
// Of a script the lines "Format:" and "Dialogue:" in the section [Events] are read. Override tags such as
// "{\an8}", and "\N", stay in the texts. Coders are values; any thread.
//
// Odd, and deliberately so: a line with exactly one bracketed stretch anywhere is a section header, a dialogue
// that says "[Music]" too; an empty line ends a section; commas inside a dialogue's text are lost.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

// Reads scripts of both kinds; writes none.
class QUOREL_SUBTITLES_API Subtitles::Coder::AdvancedSSA final
    : public SubtitlesLineCoder<Subtitles::Coder::AdvancedSSA> {
public:
    static constexpr std::string_view extn = "ass";

    // A line with exactly one match of the first is a section header; a line that the second matches is a key and
    // its value.
    static constexpr std::string_view sectionPattern = R"((?<=\[)([^\]]+)(?=\]))";
    static constexpr std::string_view keyValuePattern = R"(^(.+?(?=:)):(.*)$)";

    using SubtitlesLineCoder::decode;
    // Throws SubTitlesError: invalidEncoding for a script type other than v4.00 and its additions, for a dialogue
    // before any format, and for one that has fewer columns than the format, or no start, end or text;
    // invalidTime(0) for a time that cannot be read. A negative number for a time stops the process, as in
    // time_parsing.h.
    Subtitles decode(std::string_view content) const override;
    // Both always throw SubTitlesError (coderDoesntSupportEncoding).
    std::string encode(const Subtitles& subtitles) const override;
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override;
};

// The same under the older extension.
class QUOREL_VISIBLE Subtitles::Coder::SubStationAlpha final
    : public SubtitlesLineCoder<Subtitles::Coder::SubStationAlpha> {
public:
    static constexpr std::string_view extn = "ssa";

    using SubtitlesLineCoder::decode;
    Subtitles decode(std::string_view content) const override { return AdvancedSSA().decode(content); }
    std::string encode(const Subtitles& subtitles) const override { return AdvancedSSA().encode(subtitles); }
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override {
        return AdvancedSSA().encode(subtitles, encoding);
    }
};

}  // namespace quorel
