// Tables of inputs and what a coder makes of them.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
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

// Texts that bring patterns close to a match; the same ones at every run.
class Pieces {
public:
    explicit Pieces(std::vector<std::string> pieces) : pieces_(std::move(pieces)) {}

    std::size_t below(std::size_t bound) { return random_() % bound; }
    const std::string& any() { return pieces_[below(pieces_.size())]; }
    std::string line(std::size_t most) {
        std::string line;
        for (auto count = below(most + 1); count > 0; --count) line += any();
        return line;
    }
    // Some characters are replaced by pieces, taken away or moved behind one.
    std::string changed(std::string line) {
        for (auto changes = below(4); changes > 0 && !line.empty(); --changes) {
            const std::size_t at = below(line.size()), kind = below(3);
            if (static_cast<unsigned char>(line[at]) >= 0x80) continue;  // stay UTF-8
            line.replace(at, kind == 0 ? 0 : 1, kind == 1 ? "" : any());
        }
        return line;
    }

private:
    std::vector<std::string> pieces_;
    std::mt19937 random_{1};
};

struct Case {
    const char* name;
    std::string content;
    std::string expected;
};

inline void check(const SubtitlesTextCodable& coder, const std::vector<Case>& cases) {
    for (const Case& c : cases) EXPECT_EQ(described(coder, c.content), c.expected) << c.name;
}

}  // namespace quorel
