// The lines of a text, as all line-based formats end them.
//
//   LineReader lines(text);
//   for (std::string_view line; lines.next(line);) use(lines.number(), line);
//
// Any thread, one reader at a time; the text must outlive what is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "quorel/subtitles/export.h"

namespace quorel {

namespace detail {

// The first byte that ends a line or begins a character that may: LF, CR, and the lead bytes of U+0085 (C2) and of
// U+2028 and U+2029 (E2).
inline const char* findLineEndCandidate(const char* at, const char* end) {
#if defined(__SSE2__)
    const __m128i lineFeed = _mm_set1_epi8('\n');
    const __m128i carriageReturn = _mm_set1_epi8('\r');
    const __m128i c2 = _mm_set1_epi8('\xC2');
    const __m128i e2 = _mm_set1_epi8('\xE2');
    for (; end - at >= 16; at += 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        const __m128i found =
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, lineFeed), _mm_cmpeq_epi8(block, carriageReturn)),
                         _mm_or_si128(_mm_cmpeq_epi8(block, c2), _mm_cmpeq_epi8(block, e2)));
        if (const int mask = _mm_movemask_epi8(found)) return at + __builtin_ctz(static_cast<unsigned>(mask));
    }
#endif
    while (at != end && *at != '\n' && *at != '\r' && *at != '\xC2' && *at != '\xE2') ++at;
    return at;
}

}  // namespace detail

// Walks through the lines of a text. CR, LF, CR LF, U+0085, U+2028 and U+2029 end a line and are no part of it; a
// line end at the end of the text is followed by no line.
class QUOREL_VISIBLE LineReader {
public:
    explicit LineReader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

    // False behind the last line, which then stays.
    bool next(std::string_view& line) {
        if (at_ == end_) return false;
        ++count_;
        const char* const start = at_;
        for (const char* at = start;;) {
            at = detail::findLineEndCandidate(at, end_);
            const auto left = end_ - at;
            std::ptrdiff_t length = 0;
            if (left == 0 || *at == '\n') {
                length = left == 0 ? 0 : 1;
            } else if (*at == '\r') {
                length = left > 1 && at[1] == '\n' ? 2 : 1;
            } else if (*at == '\xC2' && left > 1 && at[1] == '\x85') {
                length = 2;
            } else if (*at == '\xE2' && left > 2 && at[1] == '\x80' && (at[2] == '\xA8' || at[2] == '\xA9')) {
                length = 3;
            } else {
                ++at;
                continue;
            }
            line = std::string_view(start, static_cast<std::size_t>(at - start));
            at_ = at + length;
            return true;
        }
    }

    // The start of the next line, or the end of the text.
    const char* position() const { return at_; }
    // Of the line that was read last, from 0; -1 before the first. After the last line has been read, that plus
    // one is the count of all lines.
    std::int64_t number() const { return count_ - 1; }

private:
    const char* at_;
    const char* end_;
    std::int64_t count_ = 0;
};

}  // namespace quorel
