#include "sandbox/byte_range.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "quorel/foundation/text.h"

namespace quorel::sandbox {

namespace {

// Digits only; a number beyond 64 bits counts as the largest, since it lies behind any end.
std::optional<std::uint64_t> position(std::string_view digits) {
    if (digits.empty() ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), value).ec != std::errc()) return UINT64_MAX;
    return value;
}

}  // namespace

RangeAnswer resolveRange(std::optional<std::string_view> header, std::uint64_t size) {
    const RangeAnswer whole{RangeAnswer::Kind::whole, {0, size}};
    const RangeAnswer unsatisfiable{RangeAnswer::Kind::unsatisfiable, {}};
    if (!header) return whole;
    const std::string_view value = trimmedBlanks(*header);
    const std::size_t equals = value.find('=');
    if (equals == std::string_view::npos || !asciiEqualsIgnoringCase(value.substr(0, equals), "bytes"))
        return whole;
    const std::string_view range = trimmedBlanks(value.substr(equals + 1));
    const std::size_t dash = range.find('-');
    if (dash == std::string_view::npos) return whole;
    const auto first = position(range.substr(0, dash));
    const auto last = position(range.substr(dash + 1));

    if (!first) {
        if (dash != 0 || !last) return whole;
        if (*last == 0 || size == 0) return unsatisfiable;
        const std::uint64_t length = std::min(*last, size);
        return {RangeAnswer::Kind::partial, {size - length, length}};
    }
    if (!last && dash + 1 != range.size()) return whole;
    if (last && *last < *first) return whole;
    if (*first >= size) return unsatisfiable;
    const std::uint64_t end = last ? std::min(*last, size - 1) : size - 1;
    return {RangeAnswer::Kind::partial, {*first, end - *first + 1}};
}

}  // namespace quorel::sandbox
