// Numbers as the formats read them: ASCII digits, all of the text, nothing around them. Private to this room.
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quorel::detail {

template <class Number>
std::optional<Number> readWhole(std::string_view text) {
    Number value{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

// Absent, too, when it does not fit.
inline std::optional<std::uint64_t> readUnsigned(std::string_view text) {
    return readWhole<std::uint64_t>(text);
}

// With an optional sign.
inline std::optional<std::int64_t> readSigned(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    return readWhole<std::int64_t>(text);
}

// With an optional sign, decimal point and exponent; finite.
inline std::optional<double> readDouble(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    const auto value = readWhole<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

// Reads a timing line from left to right. Each step is false when the text does not go on that way.
class TimingScanner {
public:
    explicit TimingScanner(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

    bool literal(char c) {
        if (at_ == end_ || *at_ != c) return false;
        ++at_;
        return true;
    }
    bool literal(std::string_view text) {
        if (static_cast<std::size_t>(end_ - at_) < text.size() || std::string_view(at_, text.size()) != text)
            return false;
        at_ += text.size();
        return true;
    }
    bool oneOf(char a, char b) { return literal(a) || literal(b); }
    // As many ASCII digits as there are, which must be `minimum` to `maximum` (at most 19, so that they fit).
    bool digits(int minimum, int maximum, std::uint64_t& value) {
        value = 0;
        int count = 0;
        for (; at_ != end_ && isDigit(*at_); ++at_) {
            if (++count > maximum) return false;
            value = value * 10 + static_cast<std::uint64_t>(*at_ - '0');
        }
        return count >= minimum;
    }
    // Exactly `count` ASCII digits, whatever follows.
    bool exactDigits(int count, std::uint64_t& value) {
        value = 0;
        for (; count > 0; --count, ++at_) {
            if (at_ == end_ || !isDigit(*at_)) return false;
            value = value * 10 + static_cast<std::uint64_t>(*at_ - '0');
        }
        return true;
    }
    bool atEnd() const { return at_ == end_; }
    std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }

private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    const char* at_;
    const char* end_;
};

}  // namespace quorel::detail
