// Character encodings of subtitle files: from bytes to UTF-8 text and back, and finding out which one it is.
//
//   std::string text = decodeText(bytes, TextEncoding::windows1252);   // throws SubTitlesError (invalidEncoding)
//   if (auto sjis = TextEncoding::named("shift_jis")) bytes = encodeText(text, *sjis);
//   auto found = decodeDetectingEncoding(bytes);                       // {text, encoding}, or nothing
//
// Nothing is lost in silence: bytes that mean nothing in the encoding, and characters that it does not have, are
// errors. Values and pure functions; any thread. Memory stays in proportion to the input.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/subtitles/export.h"
#include "quorel/support/encoding_converter.h"

namespace quorel {

class QUOREL_SUBTITLES_API TextEncoding {
public:
    // RFC 3629. A leading U+FEFF is a character like any other here: the readers of files drop it.
    static const TextEncoding utf8;
    // With a byte-order mark, which is read, and written in little-endian order. Without one, big-endian (RFC 2781
    // 4.3, and Unicode 3.10 for UTF-32).
    static const TextEncoding utf16, utf32;
    // A mark is a character like any other, and none is written.
    static const TextEncoding utf16LittleEndian, utf16BigEndian, utf32LittleEndian, utf32BigEndian;
    static const TextEncoding ascii, isoLatin1, isoLatin2, isoLatin9;  // ISO 8859-1, -2, -15
    static const TextEncoding windows1250, windows1251, windows1252;
    static const TextEncoding shiftJIS;  // with the extensions of code page 932

    // By its IANA name or any other that the system's conversion library (iconv) knows, case aside. Absent for all
    // others.
    static std::optional<TextEncoding> named(std::string_view name);

    std::string_view name() const { return {name_.data(), size_}; }
    bool operator==(const TextEncoding&) const = default;

private:
    enum class Kind { utf8, ascii, withMark, converted };
    constexpr TextEncoding(Kind kind, std::string_view name) : kind_(kind), size_(name.size()) {
        for (std::size_t i = 0; i < name.size(); ++i) name_[i] = name[i];
    }
    friend QUOREL_SUBTITLES_API std::string_view decodeText(std::string_view, const TextEncoding&, std::string&);
    friend QUOREL_SUBTITLES_API std::string encodeText(std::string, const TextEncoding&);

    Kind kind_;
    std::array<char, EncodingConverter::longestName + 1> name_{};
    std::size_t size_;
};

inline constexpr TextEncoding TextEncoding::utf8{Kind::utf8, "UTF-8"};
inline constexpr TextEncoding TextEncoding::utf16{Kind::withMark, "UTF-16"};
inline constexpr TextEncoding TextEncoding::utf32{Kind::withMark, "UTF-32"};
inline constexpr TextEncoding TextEncoding::utf16LittleEndian{Kind::converted, "UTF-16LE"};
inline constexpr TextEncoding TextEncoding::utf16BigEndian{Kind::converted, "UTF-16BE"};
inline constexpr TextEncoding TextEncoding::utf32LittleEndian{Kind::converted, "UTF-32LE"};
inline constexpr TextEncoding TextEncoding::utf32BigEndian{Kind::converted, "UTF-32BE"};
inline constexpr TextEncoding TextEncoding::ascii{Kind::ascii, "US-ASCII"};
inline constexpr TextEncoding TextEncoding::isoLatin1{Kind::converted, "ISO-8859-1"};
inline constexpr TextEncoding TextEncoding::isoLatin2{Kind::converted, "ISO-8859-2"};
inline constexpr TextEncoding TextEncoding::isoLatin9{Kind::converted, "ISO-8859-15"};
inline constexpr TextEncoding TextEncoding::windows1250{Kind::converted, "WINDOWS-1250"};
inline constexpr TextEncoding TextEncoding::windows1251{Kind::converted, "WINDOWS-1251"};
inline constexpr TextEncoding TextEncoding::windows1252{Kind::converted, "WINDOWS-1252"};
inline constexpr TextEncoding TextEncoding::shiftJIS{Kind::converted, "CP932"};

// The text in UTF-8. Throws SubTitlesError (invalidEncoding).
QUOREL_SUBTITLES_API std::string decodeText(std::string_view bytes, const TextEncoding& encoding);
// The same without a copy where the bytes are UTF-8 already; otherwise the view is into `storage`.
QUOREL_SUBTITLES_API std::string_view decodeText(std::string_view bytes, const TextEncoding& encoding,
                                                 std::string& storage);
// The bytes of a UTF-8 text. Throws SubTitlesError (invalidEncoding) for text that is not UTF-8, too.
QUOREL_SUBTITLES_API std::string encodeText(std::string text, const TextEncoding& encoding);

// Without a leading U+FEFF, if there is one.
QUOREL_SUBTITLES_API std::string_view droppingByteOrderMark(std::string_view text);

// A text in UTF-8, and what it was in.
struct QUOREL_VISIBLE DetectedText {
    std::string text;  // without its mark
    TextEncoding encoding;
};
// By a byte-order mark; else by the zero bytes that UTF-16 and UTF-32 are full of; else UTF-8 if it is valid
// (`ascii` if it is no more than that); else by the statistics of the bytes. Absent when that gives nothing or
// does not fit.
QUOREL_SUBTITLES_API std::optional<DetectedText> decodeDetectingEncoding(std::string_view bytes);

}  // namespace quorel
