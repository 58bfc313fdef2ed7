#include "quorel/foundation/text.h"

#include <simdjson.h>

#include <limits>

namespace quorel {
namespace {

bool isAsciiSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool isAscii(char c) {
    return static_cast<unsigned char>(c) < 128;
}

std::string_view trimmedAscii(std::string_view text) {
    while (!text.empty() && isAsciiSpace(text.front())) text.remove_prefix(1);
    while (!text.empty() && isAsciiSpace(text.back())) text.remove_suffix(1);
    return text;
}

// The white space characters in UTF-8; U+2000 to U+200A are found by their range.
bool isSpace(std::string_view character) {
    if (character.size() == 1) return isAsciiSpace(character[0]);
    if (character == "\xC2\x85" || character == "\xC2\xA0" || character == "\xE1\x9A\x80") return true;
    if (character.size() == 3 && character.starts_with("\xE2\x80") && character[2] <= '\x8A') return true;
    return character == "\xE2\x80\xA8" || character == "\xE2\x80\xA9" || character == "\xE2\x80\xAF" ||
           character == "\xE2\x81\x9F" || character == "\xE3\x80\x80";
}

// Both of valid, not empty text.
std::size_t firstLength(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) ++length;
    return length;
}
std::size_t lastLength(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[text.size() - length]) & 0xC0) == 0x80)
        ++length;
    return length;
}

char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

}  // namespace

std::string_view trimmedWhitespaceAndNewlines(std::string_view text) {
    text = trimmedAscii(text);
    if (text.empty() || (isAscii(text.front()) && isAscii(text.back())) || !isValidUTF8(text)) return text;
    while (!text.empty()) {
        const std::size_t length = firstLength(text);
        if (!isSpace(text.substr(0, length))) break;
        text.remove_prefix(length);
    }
    while (!text.empty()) {
        const std::size_t length = lastLength(text);
        if (!isSpace(text.substr(text.size() - length))) break;
        text.remove_suffix(length);
    }
    return text;
}

std::string_view trimmedBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string asciiLowercased(std::string_view text) {
    std::string result(text);
    for (char& c : result) c = asciiLower(c);
    return result;
}

bool asciiEqualsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (asciiLower(a[i]) != asciiLower(b[i])) return false;
    }
    return true;
}

std::vector<std::string_view> split(std::string_view text, char separator, EmptyPieces empty) {
    return split(text, separator, std::numeric_limits<std::size_t>::max(), empty);
}

std::vector<std::string_view> split(std::string_view text, char separator, std::size_t maxSplits,
                                    EmptyPieces empty) {
    std::vector<std::string_view> pieces;
    const bool keep = empty == EmptyPieces::keep;
    std::size_t start = 0;
    while (pieces.size() < maxSplits) {
        const std::size_t end = text.find(separator, start);
        if (end == std::string_view::npos) break;
        if (keep || end > start) pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (keep || start < text.size()) pieces.push_back(text.substr(start));
    return pieces;
}

std::string replacingAll(std::string_view text, std::string_view what, std::string_view with) {
    if (what.empty()) return std::string(text);
    std::string result;
    std::size_t start = 0;
    for (std::size_t found; (found = text.find(what, start)) != std::string_view::npos;
         start = found + what.size()) {
        result.append(text, start, found - start).append(with);
    }
    result.append(text, start);
    return result;
}

bool isValidUTF8(std::string_view text) {
    return simdjson::validate_utf8(text.data(), text.size());
}

}  // namespace quorel
