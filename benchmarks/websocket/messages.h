// The messages of the load client, one binary frame each (RFC 6455 5.2).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bench {

inline std::string frameHead(bool masked, std::size_t size) {
    const std::size_t lengthBytes = size < 126 ? 0 : size <= 0xFFFF ? 2 : 8;
    const int shortLength = lengthBytes == 0 ? static_cast<int>(size) : lengthBytes == 2 ? 126 : 127;
    std::string bytes{'\x82', static_cast<char>((masked ? 0x80 : 0) | shortLength)};
    for (std::size_t i = lengthBytes; i-- > 0;) bytes.push_back(static_cast<char>(size >> (8 * i)));
    return bytes;
}

inline std::string answer(std::size_t size) {
    std::string frame = frameHead(false, size);
    for (std::size_t i = 0; i < size; ++i) frame.push_back(static_cast<char>(i * 131));
    return frame;
}

inline std::string question(std::size_t size) {
    constexpr std::string_view mask = "\x12\x34\x56\x78";
    std::string frame = frameHead(true, size).append(mask);
    for (std::size_t i = 0; i < size; ++i)
        frame.push_back(static_cast<char>(static_cast<char>(i * 131) ^ mask[i % 4]));
    return frame;
}

}  // namespace bench
