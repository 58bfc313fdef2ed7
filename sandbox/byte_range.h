// Byte ranges of a GET (RFC 9110 14).
//
//   RangeAnswer answer = resolveRange("bytes=100-199", 1000);   // partial, {100, 100}
//
// Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quorel::sandbox {

struct ByteRange {
    std::uint64_t offset = 0;  // bytes
    std::uint64_t length = 0;  // bytes
    bool operator==(const ByteRange&) const = default;
};

// What a request for a range is answered with.
struct RangeAnswer {
    // The whole, a part, or a range that lies outside.
    enum class Kind {
        whole,          // 200: no range, or one that a server ignores
        partial,        // 206
        unsatisfiable,  // 416: the range begins behind the end
    };
    Kind kind = Kind::whole;
    ByteRange range;  // what to send; empty for unsatisfiable
    bool operator==(const RangeAnswer&) const = default;
};

// `header` is the value of Range, absent when there is none. Units other than bytes, several ranges at once and
// what is no range at all are ignored, as RFC 9110 14.2 allows.
RangeAnswer resolveRange(std::optional<std::string_view> header, std::uint64_t size);

}  // namespace quorel::sandbox
