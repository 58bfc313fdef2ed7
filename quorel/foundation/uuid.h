// Universally unique identifiers (RFC 4122).
//
// Values; any thread.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/export.h"

namespace quorel {

struct QUOREL_FOUNDATION_API UUID {
    std::array<std::uint8_t, 16> bytes{};

    // Version 4, from a generator of this thread that the system's random source has seeded: unique, but no
    // secret.
    static UUID random();
    // 32 hexadecimal digits of any case in groups of 8, 4, 4, 4 and 12; absent for anything else.
    static std::optional<UUID> parse(std::string_view text);
    std::string string() const;  // in upper case

    auto operator<=>(const UUID&) const = default;
};

}  // namespace quorel

template <>
struct std::hash<quorel::UUID> {
    std::size_t operator()(const quorel::UUID& uuid) const noexcept {
        std::uint64_t halves[2];
        std::memcpy(halves, uuid.bytes.data(), sizeof halves);
        return static_cast<std::size_t>(halves[0] ^ (halves[1] * 0x9E3779B97F4A7C15U));
    }
};
