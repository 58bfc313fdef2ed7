// Encodings of text in binary data.
//
//   auto latin2 = StringEncoding::named("ISO-8859-2");
//   reader.readStringSingleByteEncoding(*latin2, 30);
//
// Values and pure functions; any thread. Nothing is lost in silence: bytes that mean nothing in the encoding, and
// characters that it does not have, give nothing at all. A byte-order mark is a character like any other, and none is
// written.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/support/encoding_converter.h"
#include "quorel/support/export.h"

namespace quorel {

// An encoding, by its name.
class QUOREL_SUPPORT_API StringEncoding {
public:
    static const StringEncoding ascii, utf8, isoLatin1;  // isoLatin1: ISO 8859-1
    static const StringEncoding utf16BigEndian, utf16LittleEndian, utf32BigEndian, utf32LittleEndian;

    // By its IANA name or any other that the system's conversion library (iconv) knows, case aside. Absent for all
    // others. Without a mark UTF-16 and UTF-32 are big-endian (RFC 2781 4.3).
    static std::optional<StringEncoding> named(std::string_view name);

    std::string_view name() const { return {name_.data(), size_}; }
    bool operator==(const StringEncoding&) const = default;

    // The text in UTF-8.
    std::optional<std::string> decoded(std::span<const std::uint8_t> bytes) const;
    // The bytes of a UTF-8 text. Absent for text that is not UTF-8, too.
    std::optional<std::vector<std::uint8_t>> encoded(std::string_view text) const;

private:
    constexpr explicit StringEncoding(std::string_view name) : size_(name.size()) {
        for (std::size_t i = 0; i < name.size(); ++i) name_[i] = name[i];
    }

    std::array<char, EncodingConverter::longestName + 1> name_{};
    std::size_t size_;
};

inline constexpr StringEncoding StringEncoding::ascii{"US-ASCII"};
inline constexpr StringEncoding StringEncoding::utf8{"UTF-8"};
inline constexpr StringEncoding StringEncoding::isoLatin1{"ISO-8859-1"};
inline constexpr StringEncoding StringEncoding::utf16BigEndian{"UTF-16BE"};
inline constexpr StringEncoding StringEncoding::utf16LittleEndian{"UTF-16LE"};
inline constexpr StringEncoding StringEncoding::utf32BigEndian{"UTF-32BE"};
inline constexpr StringEncoding StringEncoding::utf32LittleEndian{"UTF-32LE"};

}  // namespace quorel
