#include "quorel/support/bytes_text.h"

#include <algorithm>

#include "quorel/foundation/text.h"
#include "quorel/support/encoding_converter.h"

namespace quorel {

namespace {

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
}

// Whether the bytes of the encoding are the text's own wherever they are text at all.
bool fits(std::string_view text, const StringEncoding& encoding) {
    return encoding == StringEncoding::ascii ? isASCII(text) : isValidUTF8(text);
}

}  // namespace

std::optional<StringEncoding> StringEncoding::named(std::string_view name) {
    const auto upper = EncodingConverter::knownName(name);
    if (!upper) return std::nullopt;
    constexpr struct {
        std::string_view name;
        const StringEncoding& encoding;
    } known[] = {{"ASCII", ascii},
                 {"US-ASCII", ascii},
                 {"UTF8", utf8},
                 {"UTF-8", utf8},
                 {"UTF-16", utf16BigEndian},
                 {"UTF16", utf16BigEndian},
                 {"UNICODE", utf16BigEndian},
                 {"UTF-32", utf32BigEndian},
                 {"UTF32", utf32BigEndian}};
    for (const auto& k : known)
        if (*upper == k.name) return k.encoding;
    return StringEncoding(*upper);
}

std::optional<std::string> StringEncoding::decoded(std::span<const std::uint8_t> bytes) const {
    const std::string_view view(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (*this == utf8 || *this == ascii) {
        if (!fits(view, *this)) return std::nullopt;
        return std::string(view);
    }
    std::string text;
    // Some converters let code points through that UTF-8 does not have.
    if (!EncodingConverter("UTF-8", name()).convert(view, text) || !isValidUTF8(text)) return std::nullopt;
    return text;
}

std::optional<std::vector<std::uint8_t>> StringEncoding::encoded(std::string_view text) const {
    if (!isValidUTF8(text) || !fits(text, *this)) return std::nullopt;
    if (*this == utf8 || *this == ascii) return std::vector<std::uint8_t>(text.begin(), text.end());
    std::string bytes;
    if (!EncodingConverter(name(), "UTF-8").convert(text, bytes)) return std::nullopt;
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

}  // namespace quorel
