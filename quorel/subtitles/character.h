// Characters as a person counts them: extended grapheme clusters (Unicode UAX #29) in UTF-8 text. CR LF is one
// character, a letter with its combining accents is one, a family emoji is one.
//
// Values and pure functions; any thread. Bytes that are not UTF-8 count as one character each.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/subtitles/export.h"

namespace quorel {

// One character. Two are equal when they are the same code points.
class QUOREL_SUBTITLES_API Character {
public:
    // `ascii` is below 128; anything else is a programming error.
    Character(char ascii);
    // `text` is exactly one character; anything else is a programming error.
    explicit Character(std::string_view text);

    std::string_view text() const { return text_; }
    bool isASCII() const { return text_.size() == 1; }  // one ASCII code point: CR LF is none
    bool operator==(const Character&) const = default;

    // The usual delimiters.
    static Character comma() { return ','; }
    static Character semicolon() { return ';'; }
    static Character tab() { return '\t'; }
    // What DelimitedText::detectSeparator looks for: comma, semicolon and tab, in this order, unless it was set.
    // Process-wide and without a lock: set it before other threads read it.
    static std::vector<Character>& allKnownDelimiters();

private:
    std::string text_;
};

namespace detail {
QUOREL_SUBTITLES_API std::size_t characterEndAmongAll(std::string_view text, std::size_t at);
QUOREL_SUBTITLES_API bool beginsCharacterAmongAll(std::string_view text, std::size_t at);
QUOREL_SUBTITLES_API std::size_t decimalDigitLengthAmongAll(std::string_view text, std::size_t at);
inline bool isASCII(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}
}  // namespace detail

// The end of the character that begins at `at`, which is below text.size().
inline std::size_t characterEnd(std::string_view text, std::size_t at) {
    const char next = at + 1 < text.size() ? text[at + 1] : ' ';
    if (!detail::isASCII(text[at]) || !detail::isASCII(next)) return detail::characterEndAmongAll(text, at);
    return text[at] == '\r' && next == '\n' ? at + 2 : at + 1;
}

// Whether a character begins at `at`, for a place that is next to an ASCII character: its own byte or the one
// before it is ASCII. No other place can be judged without reading the text before it.
inline bool beginsCharacterNextToASCII(std::string_view text, std::size_t at) {
    const bool isPlain =
        at == 0 || (detail::isASCII(text[at]) && text[at] != '\n' && detail::isASCII(text[at - 1]));
    return isPlain || detail::beginsCharacterAmongAll(text, at);
}

// The length in bytes of the white space (Unicode White_Space) that stands at `at` as the first code point of a
// character, 0 when there is none.
QUOREL_SUBTITLES_API std::size_t whiteSpaceLength(std::string_view text, std::size_t at);

// The length in bytes of the decimal digit (Unicode category Nd, as \d in patterns) that stands at `at`, 0 when
// there is none.
inline std::size_t decimalDigitLength(std::string_view text, std::size_t at) {
    if (at >= text.size()) return 0;
    if (detail::isASCII(text[at])) return text[at] >= '0' && text[at] <= '9' ? 1 : 0;
    return detail::decimalDigitLengthAmongAll(text, at);
}

// The decimal digits from `at` on, at most `limit`.
struct QUOREL_VISIBLE DigitRun {
    std::size_t end;
    std::size_t count;
};
// Reads them. An end at `at` means that there is none.
inline DigitRun decimalDigits(std::string_view text, std::size_t at,
                              std::size_t limit = static_cast<std::size_t>(-1)) {
    DigitRun run{at, 0};
    for (; run.count < limit; ++run.count) {
        const std::size_t length = decimalDigitLength(text, run.end);
        if (length == 0) break;
        run.end += length;
    }
    return run;
}

}  // namespace quorel
