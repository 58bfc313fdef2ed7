// The trimming of lines, as all line-based formats have it. Private to this room.
#pragma once

#include <string_view>

#include "quorel/subtitles/lines.h"

namespace quorel::detail {

// The length of the character of Unicode category Zs, or tab, that `text` begins with; 0 when there is none.
inline std::size_t leadingBlank(std::string_view text) {
    const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
    if (byte(0) == ' ' || byte(0) == '\t') return 1;
    if (byte(0) < 0xC2) return 0;
    if (byte(0) == 0xC2) return byte(1) == 0xA0 ? 2 : 0;
    const unsigned last = byte(0) << 16 | byte(1) << 8 | byte(2);
    const bool isBlank = last == 0xE19A80 || (last >= 0xE28080 && last <= 0xE2808A) || last == 0xE280AF ||
                         last == 0xE2819F || last == 0xE38080;
    return isBlank ? 3 : 0;
}

// Without the blanks (Unicode category Zs, and tab) at both ends. The text is UTF-8.
inline std::string_view trimmedWhitespaces(std::string_view text) {
    while (const std::size_t length = leadingBlank(text)) text.remove_prefix(length);
    while (!text.empty()) {
        std::size_t length = 1;
        if (static_cast<unsigned char>(text.back()) >= 0x80) {
            while (length < text.size() && (static_cast<unsigned char>(text[text.size() - length]) & 0xC0) == 0x80)
                ++length;
        }
        if (leadingBlank(text.substr(text.size() - length)) != length) break;
        text.remove_suffix(length);
    }
    return text;
}

}  // namespace quorel::detail
