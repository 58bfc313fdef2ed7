#include "quorel/subtitles/coder.h"

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"
#include "quorel/subtitles/assa.h"
#include "quorel/subtitles/csv.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/lrc.h"
#include "quorel/subtitles/podcasts_index.h"
#include "quorel/subtitles/sbv.h"
#include "quorel/subtitles/srt.h"
#include "quorel/subtitles/sub.h"
#include "quorel/subtitles/text_file.h"
#include "quorel/subtitles/ttml.h"
#include "quorel/subtitles/vtt.h"

namespace quorel {
namespace {

template <class Type>
constexpr Subtitles::Coder::Entry entry() {
    return {Type::extn, &Type::Create};
}

std::unique_ptr<SubtitlesCodable> requiredCoder(std::string_view fileExtension) {
    auto coder = Subtitles::Coder::coder(fileExtension);
    if (!coder) throw SubTitlesError::unsupportedFileType(fileExtension);
    return coder;
}

// Refers to the coder.
const SubtitlesTextCodable& requiredText(const SubtitlesCodable& coder) {
    const auto* textual = dynamic_cast<const SubtitlesTextCodable*>(&coder);
    if (textual == nullptr) throw SubTitlesError::coderGeneratesBinaryContent();
    return *textual;
}

Subtitles read(const URL& fileURL, const TextEncoding& encoding) {
    const auto coder = requiredCoder(fileURL.pathExtension());
    if (const auto* textual = dynamic_cast<const SubtitlesTextCodable*>(coder.get())) {
        try {
            return textual->decode(readTextFileDetectingEncoding(fileURL).text);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {
            // The caller's encoding has its turn, and its error is the one to report.
        }
    }
    return coder->decode(fileURL, encoding);
}

}  // namespace

std::span<const Subtitles::Coder::Entry> Subtitles::Coder::all() {
    static constexpr Entry entries[] = {
        entry<SRT>(),
        entry<VTT>(),
        entry<SBV>(),
        entry<JSON>(),
        entry<SUB>(),
        entry<CSV>(),
        entry<PodcastsIndex>(),
        entry<LRC>(),
        entry<TTML>(),
        entry<AdvancedSSA>(),
        entry<SubStationAlpha>(),
    };
    return entries;
}

std::unique_ptr<SubtitlesCodable> Subtitles::Coder::coder(std::string_view fileExtension) {
    for (const Entry& entry : all()) {
        if (asciiEqualsIgnoringCase(entry.extn, fileExtension)) return entry.Create();
    }
    return nullptr;
}

Subtitles SubtitlesCodable::decode(const URL& fileURL, const TextEncoding& encoding) const {
    if (asciiLowercased(fileURL.pathExtension()) != fileExtension()) logLine("Mismatched extensions?");
    if (const auto* textual = dynamic_cast<const SubtitlesTextCodable*>(this)) {
        return textual->decode(readTextFile(fileURL, encoding));
    }
    return decode(readFile(fileURL), encoding);
}

Subtitles SubtitlesTextCoder::decode(std::string_view data, const TextEncoding& encoding) const {
    if (encoding == TextEncoding::utf8) return decode(data);  // which checks it
    std::string storage;
    return decode(decodeText(data, encoding, storage));
}

std::string SubtitlesTextCoder::encode(const Subtitles& subtitles, const TextEncoding& encoding) const {
    return encodeText(encode(subtitles), encoding);
}

Subtitles::Subtitles(const URL& fileURL, const TextEncoding& encoding) : Subtitles(read(fileURL, encoding)) {}

Subtitles::Subtitles(std::string_view content, std::string_view expectedExtension)
    : Subtitles(requiredText(*requiredCoder(expectedExtension)).decode(droppingByteOrderMark(content))) {}

Subtitles::Subtitles(std::string_view data, std::string_view expectedExtension, const TextEncoding& encoding)
    : Subtitles(requiredCoder(expectedExtension)->decode(data, encoding)) {}

std::string Subtitles::encode(const Subtitles& subtitles, std::string_view fileExtension) {
    return requiredText(*requiredCoder(fileExtension)).encode(subtitles);
}

std::string Subtitles::encode(const Subtitles& subtitles, std::string_view fileExtension,
                              const TextEncoding& encoding) {
    return requiredCoder(fileExtension)->encode(subtitles, encoding);
}

std::string_view detail::decodableText(std::string_view content) {
    if (!isValidUTF8(content)) throw SubTitlesError::notUTF8(content);
    return droppingByteOrderMark(content);
}

}  // namespace quorel
