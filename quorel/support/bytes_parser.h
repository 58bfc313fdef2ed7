// What the readers and writers of bytes have in common: byte order, terminators and byte-order marks.
//
//   std::uint32_t onTheWire = usingEndianness(value, BytesParser::Endianness::big);
//
// Values and pure functions; any thread.
#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/support/export.h"

namespace quorel {

struct QUOREL_VISIBLE BytesParser {
    // Which byte of a number comes first: the most significant one, or the least.
    enum class Endianness { big, little };

    static constexpr std::array<std::uint8_t, 1> terminator8{};
    static constexpr std::array<std::uint8_t, 2> terminator16{};
    static constexpr std::array<std::uint8_t, 4> terminator32{};
    // For callers that look for a mark or write one: readers skip none, writers write none.
    static constexpr std::array<std::uint8_t, 3> BOMUTF8{0xEF, 0xBB, 0xBF};
    static constexpr std::array<std::uint8_t, 2> BOMUTF16LE{0xFF, 0xFE};
    static constexpr std::array<std::uint8_t, 2> BOMUTF16BE{0xFE, 0xFF};

    BytesParser() = delete;
};

// Integers of a fixed width of up to 64 bits, and the two floating-point types that stand for their IEEE 754 bit patterns.
template <class T>
concept FixedWidthInteger = std::integral<T> && !std::same_as<T, bool> && sizeof(T) <= 8;
template <class T>
concept FixedWidthNumber = FixedWidthInteger<T> || std::same_as<T, float> || std::same_as<T, double>;

// The value in the big or the little form: its bytes swapped where that is not the machine's own.
template <FixedWidthInteger T>
constexpr T usingEndianness(T value, BytesParser::Endianness endianness) {
    if ((endianness == BytesParser::Endianness::big) == (std::endian::native == std::endian::big)) return value;
    using U = std::make_unsigned_t<T>;
    const auto bits = static_cast<U>(value);
    if constexpr (sizeof(T) == 1) return value;
    if constexpr (sizeof(T) == 2) return static_cast<T>(__builtin_bswap16(bits));
    if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(bits));
    if constexpr (sizeof(T) == 8) return static_cast<T>(__builtin_bswap64(bits));
}

namespace detail {

template <std::size_t size>
using UnsignedOfSize = std::conditional_t<
    size == 1, std::uint8_t,
    std::conditional_t<size == 2, std::uint16_t, std::conditional_t<size == 4, std::uint32_t, std::uint64_t>>>;

// The number whose bytes, in the given order, begin at `bytes`; they need no alignment.
template <FixedWidthNumber T>
T numberAt(const std::uint8_t* bytes, BytesParser::Endianness endianness) {
    UnsignedOfSize<sizeof(T)> bits = 0;
    std::memcpy(&bits, bytes, sizeof bits);
    return std::bit_cast<T>(usingEndianness(bits, endianness));
}

template <FixedWidthNumber T>
void putNumber(std::uint8_t* bytes, T value, BytesParser::Endianness endianness) {
    const auto bits = usingEndianness(std::bit_cast<UnsignedOfSize<sizeof(T)>>(value), endianness);
    std::memcpy(bytes, &bits, sizeof bits);
}

// Stops the process: the sum and the product of positions and counts must not overflow.
inline std::int64_t checkedSum(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) fatal("A position or a count of bytes overflows.");
    return sum;
}
QUOREL_SUPPORT_API std::int64_t checkedProduct(std::int64_t a, std::int64_t b);

}  // namespace detail

}  // namespace quorel
