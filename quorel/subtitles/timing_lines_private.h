// What the timing lines of SRT, WebVTT and SBV have in common. Private to this room.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/time.h"
#include "quorel/support/regex.h"

namespace quorel::detail {

// Hours, minutes, seconds and milliseconds of the start, and of the end.
using TimingParts = std::array<std::uint64_t, 8>;

struct Timing {
    explicit Timing(const TimingParts& parts)
        : start(parts[0], parts[1], parts[2], parts[3]), end(parts[4], parts[5], parts[6], parts[7]) {
        if (end < start) end = start;
    }

    SubtitlesTime start;
    SubtitlesTime end;
};

// A line in which a pattern matches exactly once.
class OnlyMatch {
public:
    explicit OnlyMatch(const Regex& (*pattern)()) : pattern_(pattern) {}

    bool find(std::string_view line) {
        // Most files need no pattern at all; see the scans of the formats.
        if (!matcher_) matcher_.emplace(pattern_());
        const auto text = Regex::TextView::trusted(line);
        if (!matcher_->find(text)) return false;
        for (std::size_t i = 0; i < captures_.size(); ++i) captures_[i] = matcher_->captureText(i);
        return !matcher_->findNext(text);
    }
    std::string_view capture(std::size_t index) const { return captures_[index]; }

    // All captures as numbers; false when one is empty, not ASCII or too large.
    bool numbers(TimingParts& parts) const {
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const auto number = readUnsigned(captures_[i]);
            if (!number) return false;
            parts[i] = *number;
        }
        return true;
    }

private:
    const Regex& (*pattern_)();
    std::optional<Regex::Matcher> matcher_;
    std::array<std::string_view, 8> captures_;
};

}  // namespace quorel::detail
