// The cues of a document while it is decoded. Private to this room.
#pragma once

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/subtitles/cue_room_private.h"
#include "quorel/subtitles/subtitles.h"

namespace quorel::detail {

// A list that knows how far into the content its cues reach, and so how much room the rest will need.
class CueList {
public:
    explicit CueList(std::string_view content) : content_(content) {}

    // `reached` lies behind the cue, in the content.
    void add(std::shared_ptr<const char[]> block, const SubtitlesCue::Fields& fields, const char* reached) {
        if (cues_.size() == cues_.capacity()) {
            makeRoom(cues_, static_cast<std::size_t>(reached - content_.data()), content_.size());
        }
        cues_.push_back(SubtitlesCue::sharing(std::move(block), fields));
    }
    std::size_t size() const { return cues_.size(); }
    Subtitles take() { return Subtitles(std::move(cues_)); }

private:
    std::string_view content_;
    std::vector<SubtitlesCue> cues_;
};

}  // namespace quorel::detail
