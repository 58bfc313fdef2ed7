// Tables of inputs and what a coder makes of them.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "quorel/subtitles/coder.h"

namespace quorel {

// One line per cue, "identifier#position start-end [speaker] text", or the error.
inline std::string described(const SubtitlesTextCodable& coder, std::string_view content) {
    try {
        std::string result;
        for (const auto& cue : coder.decode(content).cues()) {
            std::string text;
            for (const char c : cue.text()) text += c == '\n' ? '/' : c;
            if (cue.identifier()) result += *cue.identifier();
            if (cue.position()) result += fmt::format("#{}", *cue.position());
            result += fmt::format(" {}-{} ", cue.startTimeInSeconds(), cue.endTimeInSeconds());
            if (cue.speaker()) result += fmt::format("[{}] ", *cue.speaker());
            result += text + "\n";
        }
        return result;
    } catch (const SubTitlesError& error) {
        return error.what();
    }
}

// How many lines the tests generate that hold scans against patterns; QUOREL_GENERATED_LINES sets another number.
inline int generatedLines() {
    const char* const number = std::getenv("QUOREL_GENERATED_LINES");
    return number != nullptr ? std::atoi(number) : 200'000;
}

struct Case {
    const char* name;
    std::string content;
    std::string expected;
};

inline void check(const SubtitlesTextCodable& coder, const std::vector<Case>& cases) {
    for (const Case& c : cases) EXPECT_EQ(described(coder, c.content), c.expected) << c.name;
}

}  // namespace quorel
