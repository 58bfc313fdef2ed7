#pragma once

#include <array>
#include <cstddef>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace quorel::detail {

// Finds the first of a few bytes, and of those that a newline may begin with, 16 at a time where the processor
// can.
class ByteScanner {
public:
    // Bytes can be added up to `capacity`; then it finds them all the same, byte by byte.
    void add(char byte) {
        table_[static_cast<unsigned char>(byte)] = true;
        if (count_ == capacity) isSmall_ = false;
        if (isSmall_) bytes_[count_++] = byte;
        for (std::size_t i = count_; i < capacity; ++i) bytes_[i] = bytes_[0];
    }
    void addNewlines() {
        newlines_ = true;
        for (const char c : {'\n', '\v', '\f', '\r', '\xC2', '\xE2'}) table_[static_cast<unsigned char>(c)] = true;
    }

    const char* find(const char* at, const char* end) const {
#if defined(__SSE2__)
        if (isSmall_) {
            const __m128i first = _mm_set1_epi8(bytes_[0]);
            const __m128i second = _mm_set1_epi8(bytes_[1]);
            while (end - at >= 16) {
                const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
                __m128i found = _mm_or_si128(_mm_cmpeq_epi8(block, first), _mm_cmpeq_epi8(block, second));
                if (newlines_) {
                    const __m128i fromLineFeed = _mm_sub_epi8(block, _mm_set1_epi8('\n'));
                    const __m128i isControl =
                        _mm_cmpeq_epi8(_mm_min_epu8(fromLineFeed, _mm_set1_epi8(3)), fromLineFeed);
                    const __m128i isLead = _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('\xC2')),
                                                        _mm_cmpeq_epi8(block, _mm_set1_epi8('\xE2')));
                    found = _mm_or_si128(found, _mm_or_si128(isControl, isLead));
                }
                if (const int mask = _mm_movemask_epi8(found))
                    return at + __builtin_ctz(static_cast<unsigned>(mask));
                at += 16;
            }
        }
#endif
        while (at != end && !table_[static_cast<unsigned char>(*at)]) ++at;
        return at;
    }

private:
    static constexpr std::size_t capacity = 2;

    std::array<bool, 256> table_{};
    std::array<char, capacity> bytes_{'\n', '\n'};
    std::size_t count_ = 0;
    bool isSmall_ = true;
    bool newlines_ = false;
};

}  // namespace quorel::detail
