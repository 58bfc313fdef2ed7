#include "quorel/subtitles/text_encoding.h"

#include <algorithm>
#include <utility>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/support/encoding_converter.h"

namespace quorel {
namespace {

std::size_t firstBeyondASCII(std::string_view text) {
    const auto isBeyond = [](char c) { return static_cast<unsigned char>(c) >= 128; };
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), isBeyond) - text.begin());
}

bool isASCII(std::string_view text) {
    return firstBeyondASCII(text) == text.size();
}

std::int64_t lineBehind(std::string_view text) {
    return 1 + std::count(text.begin(), text.end(), '\n');
}

// The error for bytes that mean nothing behind `text`.
SubTitlesError noText(std::string_view text, const TextEncoding& encoding) {
    return SubTitlesError::invalidEncoding().at(lineBehind(text), {},
                                                "the bytes are no text in " + std::string(encoding.name()));
}

// The error for the character at `at`, which the encoding does not have.
SubTitlesError noPlace(std::string_view text, std::size_t at, const TextEncoding& encoding) {
    std::size_t end = std::min(at + 1, text.size());
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    return SubTitlesError::invalidEncoding().at(lineBehind(text.substr(0, at)), text.substr(at, end - at),
                                                "the character does not exist in " + std::string(encoding.name()));
}

struct Mark {
    std::string_view bytes;
    const TextEncoding& encoding;
};
// The longer one first where one begins with the other.
constexpr Mark utf32Marks[] = {{std::string_view("\xFF\xFE\0\0", 4), TextEncoding::utf32LittleEndian},
                               {std::string_view("\0\0\xFE\xFF", 4), TextEncoding::utf32BigEndian}};
constexpr Mark utf16Marks[] = {{"\xFF\xFE", TextEncoding::utf16LittleEndian},
                               {"\xFE\xFF", TextEncoding::utf16BigEndian}};

}  // namespace

std::optional<TextEncoding> TextEncoding::named(std::string_view name) {
    const auto upper = EncodingConverter::knownName(name);
    if (!upper) return std::nullopt;
    if (*upper == "UTF8") return utf8;
    if (*upper == "ASCII") return ascii;
    if (*upper == "SHIFT_JIS" || *upper == "SHIFT-JIS" || *upper == "SJIS") return shiftJIS;
    for (const TextEncoding& known : {utf8, utf16, utf32, ascii}) {
        if (*upper == known.name()) return known;
    }
    return TextEncoding(Kind::converted, *upper);
}

std::string_view decodeText(std::string_view bytes, const TextEncoding& encoding, std::string& storage) {
    switch (encoding.kind_) {
        case TextEncoding::Kind::utf8:
            if (!isValidUTF8(bytes)) throw SubTitlesError::notUTF8(bytes);
            return bytes;
        case TextEncoding::Kind::ascii:
            if (!isASCII(bytes)) throw noText(bytes.substr(0, firstBeyondASCII(bytes)), encoding);
            return bytes;
        case TextEncoding::Kind::withMark: {
            const bool wide = encoding == TextEncoding::utf32;
            for (const Mark& mark : wide ? utf32Marks : utf16Marks) {
                if (bytes.starts_with(mark.bytes)) {
                    return decodeText(bytes.substr(mark.bytes.size()), mark.encoding, storage);
                }
            }
            return decodeText(bytes, wide ? TextEncoding::utf32BigEndian : TextEncoding::utf16BigEndian, storage);
        }
        case TextEncoding::Kind::converted:
            break;
    }
    storage.clear();
    if (!EncodingConverter("UTF-8", encoding.name()).convert(bytes, storage)) throw noText(storage, encoding);
    // Some converters let code points through that UTF-8 does not have.
    if (!isValidUTF8(storage)) throw SubTitlesError::notUTF8(storage);
    return storage;
}

std::string decodeText(std::string_view bytes, const TextEncoding& encoding) {
    std::string storage;
    const std::string_view text = decodeText(bytes, encoding, storage);
    return text.data() == storage.data() ? std::move(storage) : std::string(text);
}

std::string encodeText(std::string text, const TextEncoding& encoding) {
    if (!isValidUTF8(text)) throw SubTitlesError::notUTF8(text);
    switch (encoding.kind_) {
        case TextEncoding::Kind::utf8:
            return text;
        case TextEncoding::Kind::ascii:
            if (!isASCII(text)) throw noPlace(text, firstBeyondASCII(text), encoding);
            return text;
        case TextEncoding::Kind::withMark: {
            const Mark& mark = encoding == TextEncoding::utf32 ? utf32Marks[0] : utf16Marks[0];
            return std::string(mark.bytes) + encodeText(std::move(text), mark.encoding);
        }
        case TextEncoding::Kind::converted:
            break;
    }
    std::string bytes;
    std::size_t consumed = 0;
    if (!EncodingConverter(encoding.name(), "UTF-8").convert(text, bytes, &consumed)) {
        throw noPlace(text, consumed, encoding);
    }
    return bytes;
}

std::string_view droppingByteOrderMark(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return text;
}

}  // namespace quorel
