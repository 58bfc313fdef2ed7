// Private to this room. The server's notion of a line's text: bytes above 13 are Latin-1 characters, the rest (line
// ends, tabs, NUL) is left out. Latin-1 is what RFC 9110 5.5 says a field value was in former times; it makes every
// byte sequence text.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace quorel::http {

inline bool keptInLine(char c) {
    return static_cast<unsigned char>(c) > 13;
}

inline void appendLatin1(std::string& text, char c) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x80) {
        text.push_back(c);
    } else {
        text.push_back(static_cast<char>(0xC0 | (u >> 6)));
        text.push_back(static_cast<char>(0x80 | (u & 0x3F)));
    }
}

inline void appendLatin1Line(std::string& text, std::string_view bytes) {
    for (const char c : bytes)
        if (keptInLine(c)) appendLatin1(text, c);
}

// What an application takes from a request must not become lines of its own (RFC 9110 5.5, RFC 9112 4).
inline void replaceLineEnds(std::string& text, std::size_t from) {
    for (char& c : std::span(text).subspan(from))
        if (c == '\r' || c == '\n' || c == '\0') c = ' ';
}

}  // namespace quorel::http
