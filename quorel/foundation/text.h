// Small operations on UTF-8 text that several rooms need.
//
// Any thread; nothing here allocates but what returns a string or a vector.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/export.h"

namespace quorel {

// White space and newlines as Unicode has them (categories Zs, Zl, Zp, and U+0009 to U+000D, U+0085). Text that
// is not valid UTF-8 is trimmed of its ASCII white space only.
QUOREL_FOUNDATION_API std::string_view trimmedWhitespaceAndNewlines(std::string_view text);
// Blanks and tabs, nothing else.
QUOREL_FOUNDATION_API std::string_view trimmedBlanks(std::string_view text);

// ASCII letters only; for tokens of protocols, header names and language codes.
QUOREL_FOUNDATION_API std::string asciiLowercased(std::string_view text);
QUOREL_FOUNDATION_API bool asciiEqualsIgnoringCase(std::string_view a, std::string_view b);

// Whether splitting gives the empty pieces between two separators.
enum class EmptyPieces { keep, drop };
// Views into `text`, cut at each `separator`. With EmptyPieces::keep, n separators give n + 1 pieces.
QUOREL_FOUNDATION_API std::vector<std::string_view> split(std::string_view text, char separator,
                                                          EmptyPieces empty = EmptyPieces::keep);
// Cuts at most `maxSplits` times; the last piece is the rest as it stands. A dropped empty piece is no split, so
// "=a==b=" cut once at "=" gives "a" and "=b=".
QUOREL_FOUNDATION_API std::vector<std::string_view> split(std::string_view text, char separator,
                                                          std::size_t maxSplits, EmptyPieces empty);

// From left to right, what was put in is not searched again. An empty `what` is found nowhere.
QUOREL_FOUNDATION_API std::string replacingAll(std::string_view text, std::string_view what,
                                               std::string_view with);

// RFC 3629: no surrogates, no overlong forms, nothing beyond U+10FFFF.
QUOREL_FOUNDATION_API bool isValidUTF8(std::string_view text);

}  // namespace quorel
