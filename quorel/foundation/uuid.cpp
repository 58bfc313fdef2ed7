#include "quorel/foundation/uuid.h"

#include <bit>
#include <random>

namespace quorel {
namespace {

// xoshiro256++ (Blackman, Vigna 2019): a document of 200,000 cues needs as many UUIDs, and the system's source
// would cost more than the parsing.
class Generator {
public:
    Generator() {
        std::random_device device;
        for (std::uint64_t& word : state_) word = (std::uint64_t{device()} << 32) | device();
        state_[0] |= 1;  // all zero is the one state that it never leaves
    }

    std::uint64_t next() {
        const std::uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
        const std::uint64_t shifted = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= shifted;
        state_[3] = std::rotl(state_[3], 45);
        return result;
    }

private:
    std::array<std::uint64_t, 4> state_{};
};

constexpr std::uint8_t noDigit = 0x80;
constexpr auto hexadecimalValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(noDigit);
    for (std::uint8_t value = 0; value < 16; ++value) {
        values[static_cast<unsigned char>("0123456789abcdef"[value])] = value;
        values[static_cast<unsigned char>("0123456789ABCDEF"[value])] = value;
    }
    return values;
}();

bool isDashPlace(std::size_t at) {
    return at == 8 || at == 13 || at == 18 || at == 23;
}

}  // namespace

UUID UUID::random() {
    thread_local Generator generator;
    const std::uint64_t halves[2] = {generator.next(), generator.next()};
    UUID uuid;
    std::memcpy(uuid.bytes.data(), halves, sizeof halves);
    uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x40);
    uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
    return uuid;
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return std::nullopt;
    }
    UUID uuid;
    unsigned seen = 0;
    std::size_t at = 0;
    for (std::uint8_t& byte : uuid.bytes) {
        if (isDashPlace(at)) ++at;
        const unsigned high = hexadecimalValues[static_cast<unsigned char>(text[at])];
        const unsigned low = hexadecimalValues[static_cast<unsigned char>(text[at + 1])];
        seen |= high | low;
        byte = static_cast<std::uint8_t>(high << 4 | low);
        at += 2;
    }
    return (seen & noDigit) == 0 ? std::optional(uuid) : std::nullopt;
}

std::string UUID::string() const {
    constexpr std::string_view hexadecimal = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (isDashPlace(text.size())) text += '-';
        text += hexadecimal[byte >> 4];
        text += hexadecimal[byte & 15];
    }
    return text;
}

}  // namespace quorel
