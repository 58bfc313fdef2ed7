// JSON as foundation/json.h serialises it, compact, written straight from documents. Private to this room.
#pragma once

#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

#include "quorel/foundation/json.h"

namespace quorel::detail {

// Throws JSONError (notSerializable) for text that is not UTF-8.
void appendJSONText(std::string& out, std::string_view text, const JSONPath& path);

template <class Number>
void appendJSONNumber(std::string& out, Number number) {
    char buffer[32];
    out.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr);
}

// Throws JSONError (notSerializable) for numbers that are not finite.
void appendJSONNumber(std::string& out, double number, const JSONPath& path);

}  // namespace quorel::detail
