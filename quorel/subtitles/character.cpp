#include "quorel/subtitles/character.h"

#include <utf8proc.h>

#include <algorithm>

#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

// A byte that belongs to no UTF-8 sequence stands for U+FFFD.
struct CodePoint {
    utf8proc_int32_t value = 0xFFFD;
    std::size_t length = 1;
    bool isValid = false;
};

CodePoint codePointAt(std::string_view text, std::size_t at) {
    utf8proc_int32_t value = 0;
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at;
    const auto available = std::min<std::size_t>(text.size() - at, 4);
    const utf8proc_ssize_t length = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(available), &value);
    if (length <= 0) return {};
    return {value, static_cast<std::size_t>(length), true};
}

CodePoint codePointBefore(std::string_view text, std::size_t at) {
    for (std::size_t length = 1; length <= std::min<std::size_t>(at, 4); ++length) {
        const CodePoint found = codePointAt(text, at - length);
        if (found.isValid && found.length == length) return found;
    }
    return {};
}

}  // namespace

Character::Character(char ascii) : text_(1, ascii) {
    if (!detail::isASCII(ascii)) fatal("A Character from a char must be ASCII");
}

Character::Character(std::string_view text) : text_(text) {
    if (text.empty() || characterEnd(text, 0) != text.size()) fatal("A Character must be exactly one character");
}

std::vector<Character>& Character::allKnownDelimiters() {
    static std::vector<Character> delimiters{comma(), semicolon(), tab()};
    return delimiters;
}

std::size_t detail::characterEndAmongAll(std::string_view text, std::size_t at) {
    utf8proc_int32_t state = 0;
    CodePoint last = codePointAt(text, at);
    std::size_t end = at + last.length;
    while (end < text.size()) {
        const CodePoint next = codePointAt(text, end);
        if (utf8proc_grapheme_break_stateful(last.value, next.value, &state)) break;
        end += next.length;
        last = next;
    }
    return end;
}

bool detail::beginsCharacterAmongAll(std::string_view text, std::size_t at) {
    // ASCII takes no part in the rules that look further back (GB11 to GB13), so that the pair decides.
    return utf8proc_grapheme_break(codePointBefore(text, at).value, codePointAt(text, at).value);
}

std::size_t whiteSpaceLength(std::string_view text, std::size_t at) {
    const CodePoint point = codePointAt(text, at);
    const utf8proc_int32_t c = point.value;
    const bool white = (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
                       (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
                       c == 0x3000;
    return white ? point.length : 0;
}

std::size_t detail::decimalDigitLengthAmongAll(std::string_view text, std::size_t at) {
    const CodePoint point = codePointAt(text, at);
    return point.isValid && utf8proc_category(point.value) == UTF8PROC_CATEGORY_ND ? point.length : 0;
}

}  // namespace quorel
