// Room for the cues of a document that is being decoded. Private to this room.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>
#if defined(__linux__)
#include <sys/mman.h>
#endif

#include "quorel/subtitles/cue.h"

namespace quorel::detail {

// Of many megabytes: a page fault for each four kilobytes would cost as much as the decoding.
inline void askForLargePages([[maybe_unused]] const std::vector<SubtitlesCue>& cues) {
#if defined(__linux__)
    constexpr std::uintptr_t page = 2 * 1024 * 1024;
    const auto begin = (reinterpret_cast<std::uintptr_t>(cues.data()) + page - 1) & ~(page - 1);
    const auto end = reinterpret_cast<std::uintptr_t>(cues.data() + cues.capacity()) & ~(page - 1);
    if (end > begin + page)
        madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);  // advice, no more
#endif
}

// Before cues are added, when `read` of `size` bytes have been read: makes room for as many cues as there will be if
// the rest is like what was read. Growing step by step would move every cue several times, through fresh memory.
inline void makeRoom(std::vector<SubtitlesCue>& cues, std::size_t read, std::size_t size, std::size_t added = 1) {
    const std::size_t needed = cues.size() + added;
    if (needed <= cues.capacity()) return;
    constexpr std::size_t few = 64;
    if (needed < few) return cues.reserve(std::max<std::size_t>(4, 2 * needed));
    const double perByte = static_cast<double>(needed) / static_cast<double>(std::max<std::size_t>(read, 1));
    const auto expected = static_cast<std::size_t>(perByte * static_cast<double>(size) * 1.02);
    cues.reserve(std::max({needed, expected, cues.size() + cues.size() / 4}));
    askForLargePages(cues);
}

}  // namespace quorel::detail
