// MicroDVD (".sub"): one cue per line, timed by frame numbers, "{100}{200}First line|Second line". Read only.
//
//   const Subtitles document = Subtitles::Coder::SUB(25.0).decode(text);
//
// Any thread.
#pragma once

#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::SUB final : public SubtitlesLineCoder<Subtitles::Coder::SUB> {
public:
    static constexpr std::string_view extn = "sub";
    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;

    SUB() = default;
    explicit SUB(double framesPerSecond) : framerate(framesPerSecond) {}

    // Frames per second, by which frame numbers are divided. It is the caller's: one that makes a time negative or
    // infinite stops the process.
    double framerate = 24.0;

    // A frame that does not read as a finite number is frame 0. Of the text, and of each further part behind a
    // "|", only what stands behind the last brace counts. A negative frame number stops the process: that is
    // documented behaviour of the format here. Throws SubTitlesError (invalidFile) for a line with fewer than
    // three tokens before its first "|".
    Subtitles decode(std::string_view content) const override;
    // Always throws SubTitlesError (coderDoesntSupportEncoding), and so does the byte form.
    std::string encode(const Subtitles& subtitles) const override;
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override;
};

}  // namespace quorel
