// Timed Text Markup Language (W3C TTML1): a small, flat subset.
//
//   Subtitles::Coder::TTML().decode(bytes, TextEncoding::utf8);
//   const std::string document = Subtitles::Coder::TTML().encode(subtitles);
//
// An element p, span or div in the body with the attributes "begin" and "end" is a cue, up to the first end tag of
// any of the three: what comes behind the first closing span of a p is lost. "dur" is not read, and neither are
// ids, styles and regions. Times are read and written as time_expression.h says, which is not what TTML says. All
// of this is deliberate. A coder is a value; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "quorel/subtitles/coder.h"
#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"
#include "quorel/subtitles/text_encoding.h"

namespace quorel {

class QUOREL_SUBTITLES_API Subtitles::Coder::TTML final : public SubtitlesLineCoder<Subtitles::Coder::TTML> {
public:
    static constexpr std::string_view extn = "ttml";

    // A document that nests deeper is refused, as is one whose entities blow it up: parsing needs memory in
    // proportion to the bytes. External entities are not loaded.
    static constexpr std::size_t maximumDepth = 256;

    using SubtitlesLineCoder::decode;
    using SubtitlesLineCoder::encode;
    // Throws SubTitlesError: invalidFile for what is no well-formed XML or has a "tt" element outside the
    // namespace of TTML, invalidEncoding when there is no cue in it. An element whose times cannot be read is no
    // cue.
    Subtitles decode(std::string_view content) const override;
    // The same. The document says its encoding by itself; `encoding` is not looked at.
    Subtitles decode(std::string_view data, const TextEncoding& encoding) const override;
    // The header says UTF-8 even when the bytes are asked for in another encoding. Identifiers are written as they
    // are, without escaping.
    std::string encode(const Subtitles& subtitles) const override;
};

}  // namespace quorel
