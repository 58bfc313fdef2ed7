#include <array>
#include <cstddef>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/json_writing_private.h"

namespace quorel::detail {
namespace {

// Bytes that do not stand for themselves in a JSON text.
constexpr auto isEscaped = [] {
    std::array<bool, 256> table{};
    for (std::size_t c = 0; c < 0x20; ++c) table[c] = true;
    table['"'] = table['\\'] = true;
    return table;
}();

void appendEscape(std::string& out, char c) {
    constexpr char digits[] = "0123456789abcdef";
    constexpr std::string_view plain = "\"\\\b\f\n\r\t";
    constexpr std::string_view named = "\"\\bfnrt";
    out += '\\';
    if (const std::size_t index = plain.find(c); index != std::string_view::npos) {
        out += named[index];
        return;
    }
    out += "u00";
    out += digits[c >> 4];
    out += digits[c & 15];
}

[[noreturn]] void throwNotSerializable(const JSONPath& path, const char* why) {
    throw JSONError(JSONError::Code::notSerializable, path.text(), why);
}

}  // namespace

void appendJSONText(std::string& out, std::string_view text, const JSONPath& path) {
    if (!isValidUTF8(text)) throwNotSerializable(path, "a text that is not UTF-8 has no JSON form");
    out += '"';
    std::size_t start = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!isEscaped[static_cast<unsigned char>(text[at])]) continue;
        out += text.substr(start, at - start);
        appendEscape(out, text[at]);
        start = at + 1;
    }
    out += text.substr(start);
    out += '"';
}

void appendJSONNumber(std::string& out, double number, const JSONPath& path) {
    if (!std::isfinite(number)) throwNotSerializable(path, "a number that is not finite has no JSON form");
    appendJSONNumber(out, number);
}

}  // namespace quorel::detail
