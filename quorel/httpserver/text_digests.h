// SHA-1 (RFC 3174) and Base64 (RFC 4648) as the WebSocket handshake needs them. SHA-1 is no protection any more;
// use it for nothing else.
//
//   std::string accept = toBase64(sha1(key + guid));
//
// Any thread, also while the process ends.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "quorel/httpserver/export.h"

namespace quorel::http {

// The digest as bytes.
struct QUOREL_HTTPSERVER_API SHA1 {
    using Digest = std::array<std::uint8_t, 20>;

    static Digest hash(std::span<const std::uint8_t> bytes);  // of all bytes
};

// Of the text's UTF-8 bytes.
QUOREL_HTTPSERVER_API SHA1::Digest sha1(std::string_view text);
// The same in 40 hexadecimal digits, lower case.
QUOREL_HTTPSERVER_API std::string sha1Text(std::string_view text);

// With padding, without line breaks.
QUOREL_HTTPSERVER_API std::string toBase64(std::span<const std::uint8_t> bytes);

}  // namespace quorel::http
