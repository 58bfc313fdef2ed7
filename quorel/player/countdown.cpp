#include "quorel/player/countdown.h"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

#include "quorel/foundation/fatal.h"

namespace quorel {

namespace {

constexpr std::int64_t day = 86'400;

std::string_view word(bool isOne, std::string_view singular, std::string_view plural) {
    return isOne ? singular : plural;
}

}  // namespace

std::string countdownText(double seconds) {
    // 2^63 is a double, the largest 64-bit integer is none. Not a number fails both comparisons.
    if (!(seconds >= -0x1p63 && seconds < 0x1p63))
        fatal("a countdown of a time that is no 64-bit number of seconds");
    const auto s = static_cast<std::int64_t>(seconds);
    const std::int64_t days = s / day;
    const std::int64_t hours = s / 3600 % 24;
    const std::int64_t minutes = s / 60 % 60;
    const std::int64_t secs = s % 60;
    const auto hour = word(hours == 1, "hora", "horas");
    const auto minute = word(minutes == 1, "minuto", "minutos");
    const auto second = word(secs == 1, "segundo", "segundos");
    if (s > -day && s < day) {
        if (hours > 0) return fmt::format("Em {:02} {} e {:02} {}", hours, hour, minutes, minute);
        if (hours == 0 && minutes > 0) return fmt::format("Em {:02} {} e {:02} {}", minutes, minute, secs, second);
        if (hours == 0 && minutes == 0 && secs > 0) return fmt::format("Em {:02} {}", secs, second);
    }
    const auto dayWord = word(s >= day && s < 2 * day, "dia", "dias");
    return fmt::format("Em {:02} {}, {:02} {} e {:02} {}", days, dayWord, hours, hour, minutes, minute);
}

}  // namespace quorel
