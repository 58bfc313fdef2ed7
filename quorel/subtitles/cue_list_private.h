// The cues of a document while it is decoded. Private to this room.
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "quorel/subtitles/subtitles.h"

namespace quorel::detail {

// A list that knows how far into the content its cues reach, and so how much room the rest will need: doubling
// would touch twice the memory, which costs more than the decoding.
class CueList {
public:
    explicit CueList(std::string_view content) : content_(content) {}

    // `reached` lies behind the cue, in the content.
    void add(std::shared_ptr<const char[]> block, const SubtitlesCue::Fields& fields, const char* reached) {
        if (cues_.size() == cues_.capacity()) grow(static_cast<std::size_t>(reached - content_.data()));
        cues_.push_back(SubtitlesCue::sharing(std::move(block), fields));
    }
    std::size_t size() const { return cues_.size(); }
    Subtitles take() { return Subtitles(std::move(cues_)); }

private:
    void grow(std::size_t consumed) {
        const double expected = static_cast<double>(cues_.size() + 1) * static_cast<double>(content_.size()) /
                                static_cast<double>(std::max<std::size_t>(consumed, 1));
        const std::size_t atLeast = cues_.size() + cues_.size() / 2 + 16;
        // The first cues are too few to tell.
        cues_.reserve(cues_.size() < 256 ? atLeast : std::max(atLeast, static_cast<std::size_t>(expected * 1.05)));
    }

    std::string_view content_;
    std::vector<SubtitlesCue> cues_;
};

}  // namespace quorel::detail
