#include "quorel/presentation/time_text.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>

#include "quorel/foundation/fatal.h"

namespace quorel {

std::string timeText(double seconds) {
    if (!std::isfinite(seconds)) return {};
    constexpr double limit = 9223372036854775808.0;  // 2^63, the first number that does not fit
    if (seconds >= limit || seconds < -limit) fatal("a time that does not fit into 64 bits");
    const auto whole = static_cast<std::int64_t>(seconds);
    if (whole < 3600) return fmt::format("{}:{:02}", whole / 60, whole % 60);
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace quorel
