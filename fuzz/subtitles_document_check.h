// What is true of every document that a coder decodes, for the fuzz targets of the coders.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "quorel/subtitles/coder.h"

namespace quorel {

inline void require(bool condition) {
    if (!condition) std::abort();
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

inline void checkDocument(const Subtitles& document, std::size_t inputSize) {
    double last = 0;
    for (const auto& cue : document.cues()) {
        require(cue.startTimeInSeconds() >= last && cue.endTimeInSeconds() >= cue.startTimeInSeconds());
        last = cue.startTimeInSeconds();
        require(cue.text().size() <= inputSize);
    }
    require(document.timeShifting(1.5, 2).cues().size() == document.cues().size());
}

// What the coder writes, it reads back, as long as no text holds what ends a cue.
inline void checkWriting(const SubtitlesTextCodable& coder, const Subtitles& document) {
    const std::string written = coder.encode(document);
    try {
        checkDocument(coder.decode(written), written.size());
    } catch (const SubTitlesError&) {
    }
}

}  // namespace quorel
