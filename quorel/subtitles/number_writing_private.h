// Doubles as the formats write them. Private to this room.
#pragma once

#include <charconv>
#include <string>

namespace quorel::detail {

// The shortest decimal form that reads back as the same number, without an exponent: "0.1", "100000", "62.5".
inline void appendDouble(std::string& out, double value) {
    char digits[1100];  // the smallest numbers have some 1075 of them
    out.append(digits, std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed).ptr);
}

}  // namespace quorel::detail
