#include "quorel/httpserver/text_digests.h"

// The newer interface of libcrypto fetches its algorithm from a table that is destroyed at exit, while a connection's
// thread may still shake hands.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstddef>

namespace quorel::http {

SHA1::Digest SHA1::hash(std::span<const std::uint8_t> bytes) {
    Digest digest;
    SHA_CTX context;
    SHA1_Init(&context);
    SHA1_Update(&context, bytes.data(), bytes.size());
    SHA1_Final(digest.data(), &context);
    return digest;
}

SHA1::Digest sha1(std::string_view text) {
    return SHA1::hash({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::string sha1Text(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string result;
    for (const std::uint8_t byte : sha1(text)) {
        result.push_back(digits[byte >> 4]);
        result.push_back(digits[byte & 0xF]);
    }
    return result;
}

std::string toBase64(std::span<const std::uint8_t> bytes) {
    // In pieces whose length an int holds; all but the last without padding.
    constexpr std::size_t piece = std::size_t{3} << 24;
    std::string result;
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), piece));
        const std::size_t have = result.size();
        // The encoder ends what it writes with a NUL.
        result.resize(have + (part.size() + 2) / 3 * 4 + 1);
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(result.data()) + have, part.data(),
                        static_cast<int>(part.size()));
        result.pop_back();
        bytes = bytes.subspan(part.size());
    }
    return result;
}

}  // namespace quorel::http
