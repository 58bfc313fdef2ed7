// Coders: what turns a subtitle format into a document and back, and the registry that finds one by file
// extension.
//
//   auto coder = Subtitles::Coder::coder("srt");                  // null when no coder has the extension
//   const Subtitles document = coder->decode(bytes, TextEncoding::windows1252);
//   const std::string webVTT = Subtitles::Coder::VTT().encode(document);
//
// Coders hold no state between calls and may be used by any thread.
//
// How a coder is added, for a format "XYZ":
//  1. Declare `class XYZ;` in Subtitles::Coder below, and add its line to the table in coder.cpp, at its place:
//     the first coder with an extension wins.
//  2. xyz.h: `class Subtitles::Coder::XYZ final : public SubtitlesLineCoder<Subtitles::Coder::XYZ>` with a public
//     `static constexpr std::string_view extn`, `using SubtitlesLineCoder::decode;`, the same for `encode`, and
//     overrides of the two text forms. The byte forms and Create() are inherited; override a byte form where the
//     format is not plain text (JSON, XML). A coder without a text form implements SubtitlesCodable alone.
//  3. decode(content) gets any bytes: begin with detail::decodableText(content), which drops the byte-order mark
//     and throws invalidEncoding for what is not UTF-8. Walk with LineReader (lines.h), read
//     numbers with numbers_private.h, write times with time_writing_private.h.
//  4. Put texts into detail::TextBlocks and cues into a detail::CueList, whose take() makes the sorted document:
//     no allocation per cue, and cues that share one text (several time stamps on one line) share its bytes, so
//     that memory stays in proportion to the input.
//  5. The format's pattern is a Regex constant in a function; a Regex::Matcher, made once per call, runs it.
//     Where a scan by hand is faster, it may accept a part of the language and leave the rest to the pattern; a
//     test compares the two. Beware of patterns that try again from every character of a run, such as
//     "\[[^\]]+\]" on a megabyte of "[": guard them with a look-behind as srt.cpp does, or find the delimiters by
//     hand.
//  6. Tests: a table of inputs and expected cues or errors in tests/subtitles, a fuzz target in fuzz/.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "quorel/subtitles/export.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel {

// A coder from and to bytes.
class QUOREL_SUBTITLES_API SubtitlesCodable {
public:
    virtual ~SubtitlesCodable() = default;

    // In lower case, without a period; each coder class has it as its constant `extn`, too.
    virtual std::string_view fileExtension() const = 0;
    virtual Subtitles decode(std::string_view data, const TextEncoding& encoding) const = 0;
    virtual std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const = 0;

    // Reads the file: as text in `encoding`, without a byte-order mark, when the coder is textual, else as bytes.
    // Throws std::system_error when it cannot be read. Logs "Mismatched extensions?" when the extension of the URL
    // is not the coder's, and goes on.
    Subtitles decode(const URL& fileURL, const TextEncoding& encoding) const;
};

// A coder from and to text in UTF-8. Whether a SubtitlesCodable is one too is asked by dynamic_cast.
class QUOREL_VISIBLE SubtitlesTextCodable {
public:
    virtual ~SubtitlesTextCodable() = default;

    // Throws SubTitlesError; each coder says when. Text that is not UTF-8 is always invalidEncoding.
    virtual Subtitles decode(std::string_view content) const = 0;
    virtual std::string encode(const Subtitles& subtitles) const = 0;
};

class QUOREL_SUBTITLES_API Subtitles::Coder {
public:
    Coder() = delete;

    class SRT;
    class VTT;
    class SBV;
    class JSON;
    class SUB;
    class CSV;
    class PodcastsIndex;
    class LRC;
    class TTML;
    class AdvancedSSA;
    class SubStationAlpha;

    // With default settings. Case does not matter; a leading period does.
    static std::unique_ptr<SubtitlesCodable> coder(std::string_view fileExtension);

    // A row of the registry: the extension, and how the coder is made.
    struct Entry {
        std::string_view extn;
        std::unique_ptr<SubtitlesCodable> (*Create)();
    };
    static std::span<const Entry> all();  // in the order of search
};

// The byte forms in terms of the text forms. Both throw SubTitlesError (invalidEncoding) when the bytes are no
// text in the encoding, or the text cannot be written in it.
class QUOREL_SUBTITLES_API SubtitlesTextCoder : public SubtitlesCodable, public SubtitlesTextCodable {
public:
    using SubtitlesCodable::decode;
    using SubtitlesTextCodable::decode;
    using SubtitlesTextCodable::encode;
    Subtitles decode(std::string_view data, const TextEncoding& encoding) const override;
    std::string encode(const Subtitles& subtitles, const TextEncoding& encoding) const override;
};

// The base of a coder with a text form; see above how one is added.
template <class Derived>
class QUOREL_VISIBLE SubtitlesLineCoder : public SubtitlesTextCoder {
public:
    std::string_view fileExtension() const final { return Derived::extn; }
    // For the registry.
    static std::unique_ptr<SubtitlesCodable> Create() { return std::make_unique<Derived>(); }
};

namespace detail {
// The content without a byte-order mark. Throws SubTitlesError (invalidEncoding) when it is not UTF-8.
QUOREL_SUBTITLES_API std::string_view decodableText(std::string_view content);
}  // namespace detail

}  // namespace quorel
