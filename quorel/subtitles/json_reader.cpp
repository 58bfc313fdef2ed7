#include <charconv>
#include <cmath>
#include <cstddef>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "quorel/foundation/text.h"
#include "quorel/subtitles/json.h"
#include "quorel/subtitles/json_reader_private.h"

namespace quorel::detail {
namespace {

std::string_view withoutMark(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return text;
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool endsPlainText(char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
}

// The first quote, backslash or control character.
const char* findEndOfPlainText(const char* at, const char* end) {
#if defined(__SSE2__)
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    for (; end - at >= 16; at += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        const __m128i isControl = _mm_cmpeq_epi8(_mm_min_epu8(block, lastControl), block);
        const __m128i found =
            _mm_or_si128(isControl, _mm_or_si128(_mm_cmpeq_epi8(block, quote), _mm_cmpeq_epi8(block, backslash)));
        if (const int mask = _mm_movemask_epi8(found)) return at + __builtin_ctz(static_cast<unsigned>(mask));
    }
#endif
    while (at != end && !endsPlainText(*at)) ++at;
    return at;
}

void appendUTF8(std::string& out, std::uint32_t point) {
    const auto append = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
    if (point < 0x80) return append(point);
    if (point < 0x800) {
        append(0xC0 | point >> 6);
    } else {
        if (point < 0x10000) {
            append(0xE0 | point >> 12);
        } else {
            append(0xF0 | point >> 18);
            append(0x80 | (point >> 12 & 0x3F));
        }
        append(0x80 | (point >> 6 & 0x3F));
    }
    append(0x80 | (point & 0x3F));
}

}  // namespace

JSONReader::JSONReader(std::string_view text)
    : begin_(withoutMark(text).data()), at_(begin_), end_(text.data() + text.size()) {
    if (!isValidUTF8(text))
        throw SubtitlesJSONError(JSONError::Code::syntax, {}, "the text is not JSON: it is not UTF-8", 0);
    skipBlanks();
}

void JSONReader::throwSyntax(const char* why) const {
    throw SubtitlesJSONError(
        JSONError::Code::syntax, {},
        std::string("the text is not JSON: ") + why + " at byte " + std::to_string(position()), position());
}

void JSONReader::throwMismatch(const char* wanted, const JSONPath& path) {
    const char* found = nullptr;
    const std::size_t offset = position();
    switch (peek()) {
        case '{':
            found = "an object";
            break;
        case '[':
            found = "an array";
            break;
        case '"':
            found = "a text";
            break;
        case 't':
        case 'f':
            found = "a boolean";
            break;
        case 'n':
            found = "null";
            break;
        default: {
            const char* const start = at_;
            found = readToken().isInteger ? "an integer" : "a number";
            at_ = start;
        }
    }
    skip();  // what is no JSON is called that
    throw SubtitlesJSONError(JSONError::Code::typeMismatch, path.text(),
                             std::string("expected ") + wanted + ", found " + found, offset);
}

void JSONReader::require(bool found, const JSONPath& path, std::string_view key) const {
    if (found) return;
    throw SubtitlesJSONError(JSONError::Code::missingKey, JSONPath(path, key).text(), "the key is missing",
                             position());
}

void JSONReader::finish() {
    skipBlanks();
    if (at_ != end_) throwSyntax("something follows the value");
}

// False for one that is empty, which is then behind.
bool JSONReader::open(char bracket, char closing, const char* wanted, const JSONPath& path) {
    if (peek() != bracket) throwMismatch(wanted, path);
    if (++depth_ > maximumJSONDepth) throwSyntax("it nests too deep");
    ++at_;
    skipBlanks();
    if (peek() != closing) return true;
    ++at_;
    --depth_;
    return false;
}

bool JSONReader::next(char closing) {
    skipBlanks();
    const char c = peek();
    if (c == ',') {
        ++at_;
        skipBlanks();
        return true;
    }
    if (c != closing) throwSyntax("a comma or a closing bracket is missing");
    ++at_;
    --depth_;
    return false;
}

std::string_view JSONReader::readKey(std::string& escaped) {
    if (peek() != '"') throwSyntax("a key is missing");
    const std::string_view key = readString(escaped);
    skipBlanks();
    if (peek() != ':') throwSyntax("a colon is missing");
    ++at_;
    skipBlanks();
    return key;
}

// From its opening quote on. Into `escaped` only when there are escapes.
std::string_view JSONReader::readString(std::string& escaped) {
    const char* start = ++at_;
    at_ = findEndOfPlainText(start, end_);
    if (peek() == '"') return {start, static_cast<std::size_t>(at_++ - start)};
    escaped.clear();
    for (;;) {
        escaped.append(start, at_);
        if (at_ == end_) throwSyntax("a text does not end");
        if (*at_ == '"') break;
        if (*at_ != '\\') throwSyntax("a control character stands in a text");
        ++at_;
        readEscape(escaped);
        start = at_;
        at_ = findEndOfPlainText(start, end_);
    }
    ++at_;
    return escaped;
}

void JSONReader::readEscape(std::string& out) {
    constexpr std::string_view names = "\"\\/bfnrt";
    constexpr std::string_view values = "\"\\/\b\f\n\r\t";
    const char name = peek();
    if (name != 'u') {
        const std::size_t index = name != '\0' ? names.find(name) : std::string_view::npos;
        if (index == std::string_view::npos) throwSyntax("an escape means nothing");
        out += values[index];
        ++at_;
        return;
    }
    ++at_;
    std::uint32_t point = readHexadecimal();
    if (point >= 0xD800 && point < 0xDC00) {
        if (end_ - at_ < 2 || at_[0] != '\\' || at_[1] != 'u')
            throwSyntax("half of a surrogate pair stands alone");
        at_ += 2;
        const std::uint32_t low = readHexadecimal();
        if (low < 0xDC00 || low > 0xDFFF) throwSyntax("half of a surrogate pair stands alone");
        point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
    } else if (point >= 0xDC00 && point < 0xE000) {
        throwSyntax("half of a surrogate pair stands alone");
    }
    appendUTF8(out, point);
}

std::uint32_t JSONReader::readHexadecimal() {
    std::uint32_t value = 0;
    if (end_ - at_ < 4) throwSyntax("an escape is cut off");
    const auto result = std::from_chars(at_, at_ + 4, value, 16);
    if (result.ec != std::errc() || result.ptr != at_ + 4) throwSyntax("an escape means nothing");
    at_ += 4;
    return value;
}

JSONReader::Number JSONReader::readToken() {
    const char* const start = at_;
    bool isInteger = true;
    const auto readDigits = [&] {
        if (!isDigit(peek())) throwSyntax("a value is missing or is not one");
        while (isDigit(peek())) ++at_;
    };
    if (peek() == '-') ++at_;
    if (peek() == '0') {
        ++at_;
    } else {
        readDigits();
    }
    if (peek() == '.') {
        ++at_;
        readDigits();
        isInteger = false;
    }
    if (peek() == 'e' || peek() == 'E') {
        ++at_;
        if (peek() == '+' || peek() == '-') ++at_;
        readDigits();
        isInteger = false;
    }
    return {{start, static_cast<std::size_t>(at_ - start)}, isInteger};
}

double JSONReader::valueOf(std::string_view token) {
    double value = 0;
    const auto result = std::from_chars(token.data(), token.data() + token.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        const std::size_t exponent = token.find_first_of("eE");
        const bool isTiny = exponent != std::string_view::npos ? token[exponent + 1] == '-'
                                                               : token[token.starts_with('-') ? 1 : 0] == '0';
        if (isTiny) return token.starts_with('-') ? -0.0 : 0.0;
        value = HUGE_VAL;
    }
    if (!std::isfinite(value)) throwSyntax("a number is too large");
    return value;
}

double JSONReader::readNumber(const JSONPath& path) {
    if (const char c = peek(); c != '-' && !isDigit(c)) throwMismatch("a number", path);
    return valueOf(readToken().token);
}

JSONReader::Number JSONReader::readIntegerToken(const JSONPath& path) {
    const char* const start = at_;
    const char c = peek();
    if (c != '-' && !isDigit(c)) throwMismatch("an integer", path);
    const Number number = readToken();
    if (!number.isInteger) {
        at_ = start;
        throwMismatch("an integer", path);
    }
    return number;
}

std::int64_t JSONReader::readSigned(const JSONPath& path) {
    const std::string_view token = readIntegerToken(path).token;
    std::int64_t value = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), value).ec == std::errc()) return value;
    throw SubtitlesJSONError(JSONError::Code::outOfRange, path.text(), "the integer is out of range", position());
}

std::uint64_t JSONReader::readUnsigned(const JSONPath& path) {
    const std::string_view token = readIntegerToken(path).token;
    std::uint64_t value = 0;
    if (token == "-0") return 0;
    if (std::from_chars(token.data(), token.data() + token.size(), value).ec == std::errc()) return value;
    throw SubtitlesJSONError(JSONError::Code::outOfRange, path.text(), "the integer is out of range", position());
}

std::string_view JSONReader::readText(const JSONPath& path) {
    if (peek() != '"') throwMismatch("a text", path);
    return readString(escaped_);
}

bool JSONReader::readNull() {
    if (peek() != 'n') return false;
    readWord("null");
    return true;
}

void JSONReader::readWord(std::string_view word) {
    if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(word)) {
        throwSyntax("a value is missing or is not one");
    }
    at_ += word.size();
}

void JSONReader::skip() {
    const JSONPath unused;
    switch (peek()) {
        case '{':
            return readMembers(unused, [](std::string_view, const JSONPath&) {});
        case '[':
            return readElements(unused, [](const JSONPath&) {});
        case '"':
            readString(escaped_);
            return;
        case 't':
            return readWord("true");
        case 'f':
            return readWord("false");
        case 'n':
            return readWord("null");
        default:
            valueOf(readToken().token);
    }
}

}  // namespace quorel::detail
