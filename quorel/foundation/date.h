// Points in time, and text forms of them by pattern.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace quorel {

// A point in time, in seconds since 1970-01-01T00:00:00Z.
struct Date {
    double secondsSince1970 = 0;

    auto operator<=>(const Date&) const = default;
};

// Reads and writes dates by a pattern of Unicode TR35 fields. Understood are yyyy MM dd HH mm ss SSS Z, literals
// in single quotes, and the separators "-", ":" and "." as they stand. "Z" reads "Z", "+0300" and "+03:00" and
// writes "+0000". Reading is strict: exactly the digits of the fields (one or more after the dot for S), values
// in their ranges, nothing left over. A value; any thread.
class DateFormatter {
public:
    explicit DateFormatter(std::string pattern) : pattern_(std::move(pattern)) {}

    const std::string& pattern() const { return pattern_; }
    std::optional<Date> date(std::string_view text) const;  // absent when the text does not match
    std::string string(Date date) const;                    // in UTC

private:
    std::string pattern_;
};

}  // namespace quorel
