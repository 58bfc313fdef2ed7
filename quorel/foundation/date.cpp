#include "quorel/foundation/date.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <utility>

#include "quorel/foundation/fatal.h"

namespace quorel {
namespace {

constexpr std::int64_t microsPerSecond = 1'000'000;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Takes text off its front; a failed take leaves the reader failed.
struct Reader {
    std::string_view rest;
    bool failed = false;

    void literal(std::string_view expected) {
        if (!rest.starts_with(expected))
            failed = true;
        else
            rest.remove_prefix(expected.size());
    }
    int number(std::size_t digits, int lowest, int highest) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            if (i >= rest.size() || !isDigit(rest[i])) {
                failed = true;
                return 0;
            }
            value = value * 10 + (rest[i] - '0');
        }
        rest.remove_prefix(digits);
        if (value < lowest || value > highest) failed = true;
        return value;
    }
    std::int64_t fractionInMicros() {
        if (rest.empty() || !isDigit(rest.front())) failed = true;
        std::int64_t micros = 0;
        for (std::int64_t unit = microsPerSecond / 10; !rest.empty() && isDigit(rest.front()); unit /= 10) {
            micros += unit * (rest.front() - '0');
            rest.remove_prefix(1);
        }
        return micros;
    }
    int offsetInSeconds() {
        if (rest.starts_with('Z')) {
            rest.remove_prefix(1);
            return 0;
        }
        if (!rest.starts_with('+') && !rest.starts_with('-')) failed = true;
        if (failed) return 0;
        const int sign = rest.front() == '-' ? -1 : 1;
        rest.remove_prefix(1);
        const int hours = number(2, 0, 23);
        if (rest.starts_with(':')) rest.remove_prefix(1);
        const int minutes = number(2, 0, 59);
        return sign * (hours * 3600 + minutes * 60);
    }
};

void appendPadded(std::string& text, std::int64_t value, std::size_t digits) {
    const std::string plain = std::to_string(value);
    if (plain.size() < digits) text.append(digits - plain.size(), '0');
    text += plain;
}

std::size_t requiredLength(char field) {
    switch (field) {
        case 'y':
            return 4;
        case 'M':
        case 'd':
        case 'H':
        case 'm':
        case 's':
            return 2;
        case 'Z':
            return 1;
        default:
            return 0;
    }
}

}  // namespace

DateFormatter::DateFormatter(std::string pattern) : pattern_(std::move(pattern)) {
    const auto addLiteral = [this](char c) {
        if (pieces_.empty() || pieces_.back().field != 0) pieces_.push_back({0, 0, {}});
        pieces_.back().literal += c;
    };
    bool quoted = false;
    for (std::size_t i = 0; i < pattern_.size();) {
        const char c = pattern_[i];
        if (c == '\'' && i + 1 < pattern_.size() && pattern_[i + 1] == '\'') {
            addLiteral(c);
            i += 2;
        } else if (c == '\'') {
            quoted = !quoted;
            ++i;
        } else if (quoted || !isLetter(c)) {
            addLiteral(c);
            ++i;
        } else {
            std::size_t end = i;
            while (end < pattern_.size() && pattern_[end] == c) ++end;
            const std::size_t length = end - i;
            if (c != 'S' && length != requiredLength(c)) fatal("a date pattern has an unknown field: " + pattern_);
            pieces_.push_back({c, length, {}});
            i = end;
        }
    }
    if (quoted) fatal("a date pattern has an open quote: " + pattern_);
}

std::optional<Date> DateFormatter::date(std::string_view text) const {
    Reader reader{text};
    int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0, offset = 0;
    std::int64_t micros = 0;
    for (const Piece& piece : pieces_) {
        switch (piece.field) {
            case 'y':
                year = reader.number(4, 1, 9999);
                break;
            case 'M':
                month = reader.number(2, 1, 12);
                break;
            case 'd':
                day = reader.number(2, 1, 31);
                break;
            case 'H':
                hour = reader.number(2, 0, 23);
                break;
            case 'm':
                minute = reader.number(2, 0, 59);
                break;
            case 's':
                second = reader.number(2, 0, 59);
                break;
            case 'S':
                micros = reader.fractionInMicros();
                break;
            case 'Z':
                offset = reader.offsetInSeconds();
                break;
            default:
                reader.literal(piece.literal);
        }
        if (reader.failed) return std::nullopt;
    }
    const std::chrono::year_month_day civil{std::chrono::year(year),
                                            std::chrono::month(static_cast<unsigned>(month)),
                                            std::chrono::day(static_cast<unsigned>(day))};
    if (!reader.rest.empty() || !civil.ok()) return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(civil).time_since_epoch().count();
    const std::int64_t seconds = days * 86'400 + hour * 3600 + minute * 60 + second - offset;
    return Date{static_cast<double>(seconds * microsPerSecond + micros) / static_cast<double>(microsPerSecond)};
}

std::string DateFormatter::string(Date date) const {
    // The years 0001 to 9999, whose microseconds fit 64 bits.
    if (!(date.secondsSince1970 >= -62'135'596'800.0 && date.secondsSince1970 < 253'402'300'800.0)) return {};
    std::size_t digits = 0;
    for (const Piece& piece : pieces_) {
        if (piece.field == 'S') digits = piece.length < 6 ? piece.length : 6;
    }
    // Rounded once, to what a double of today resolves, then cut: 05.678 is not to come out as 05.677.
    const auto rounded = std::llround(date.secondsSince1970 * static_cast<double>(microsPerSecond));
    std::int64_t seconds = rounded / microsPerSecond;
    std::int64_t fraction = rounded % microsPerSecond;
    if (fraction < 0) {
        --seconds;
        fraction += microsPerSecond;
    }
    for (std::size_t i = digits; i < 6; ++i) fraction /= 10;
    using namespace std::chrono;
    const sys_seconds moment{std::chrono::seconds(seconds)};
    const sys_days midnight = floor<days>(moment);
    const year_month_day civil{midnight};
    const hh_mm_ss<std::chrono::seconds> time{moment - midnight};
    if (civil.year() > year(9999)) return {};

    std::string text;
    for (const Piece& piece : pieces_) {
        switch (piece.field) {
            case 'y':
                appendPadded(text, int{civil.year()}, 4);
                break;
            case 'M':
                appendPadded(text, unsigned{civil.month()}, 2);
                break;
            case 'd':
                appendPadded(text, unsigned{civil.day()}, 2);
                break;
            case 'H':
                appendPadded(text, time.hours().count(), 2);
                break;
            case 'm':
                appendPadded(text, time.minutes().count(), 2);
                break;
            case 's':
                appendPadded(text, time.seconds().count(), 2);
                break;
            case 'S':
                appendPadded(text, fraction, digits);
                text.append(piece.length - digits, '0');
                break;
            case 'Z':
                text += "+0000";
                break;
            default:
                text += piece.literal;
        }
    }
    return text;
}

}  // namespace quorel
