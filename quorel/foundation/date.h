// Points in time, and text forms of them by pattern.
//
//   const DateFormatter format("yyyy-MM-dd'T'HH:mm:ssZ");
//   format.date("2024-01-02T03:04:05Z");     // 1704164645 s
//   format.string(Date{1704164645});         // "2024-01-02T03:04:05+0000"
#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quorel/foundation/export.h"

namespace quorel {

// A point in time, in seconds since 1970-01-01T00:00:00Z.
struct QUOREL_VISIBLE Date {
    double secondsSince1970 = 0;

    auto operator<=>(const Date&) const = default;
};

// Reads and writes dates by a pattern of Unicode TR35 fields, in the proleptic Gregorian calendar. Understood are
// yyyy MM dd HH mm ss SSS Z, literals in single quotes ('' is a quote), and everything that is not a letter as it
// stands. "Z" reads "Z", "+0300" and "+03:00" and writes "+0000". Reading is strict: exactly the digits of the
// fields (one or more for S, of which microseconds count), values in their ranges (years 0001 to 9999), nothing
// left over. A value; any thread.
class QUOREL_FOUNDATION_API DateFormatter {
public:
    // A pattern with any other field is a programming error and stops the process.
    explicit DateFormatter(std::string pattern);

    const std::string& pattern() const { return pattern_; }
    // Absent when the text does not match. A text without "Z" is read as UTC.
    std::optional<Date> date(std::string_view text) const;
    // In UTC, cut (not rounded) to the smallest field of the pattern. "" outside the years 0001 to 9999.
    std::string string(Date date) const;

private:
    struct Piece {
        char field;          // 0 for a literal
        std::size_t length;  // digits of the field
        std::string literal;
    };

    std::string pattern_;
    std::vector<Piece> pieces_;
};

}  // namespace quorel
