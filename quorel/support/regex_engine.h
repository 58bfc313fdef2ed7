// The one place that knows the regular-expression engine: compiled code, its memory, and the limits of a search.
// Private to this room.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/support/regex.h"

struct pcre2_real_code_8;
struct pcre2_real_match_data_8;
struct pcre2_real_match_context_8;

namespace quorel {

// The part of a text in which a search runs, as the engine wants it told.
struct RegexWindow {
    // Stops the process when the range leaves the text.
    RegexWindow(std::string_view text, std::optional<Regex::Range> range, Regex::MatchingOptions options);

    std::string_view subject;
    std::size_t base;     // where the subject begins in the text
    std::size_t from;     // where the search begins, in the subject
    std::uint32_t flags;  // of the engine
    bool isAnchored;      // only one match can be there
};

// A null view has no address, and the engine wants one.
inline const char* addressOf(std::string_view text) {
    return text.data() != nullptr ? text.data() : "";
}
// The boundary at or before `offset`.
std::size_t characterBoundary(std::string_view text, std::size_t offset);
// The offset behind the code point at `offset`, which is not the end.
std::size_t nextCodePoint(std::string_view text, std::size_t offset);
// Rounds both ends down; "Invalid Range" stops the process.
Regex::Range checkedRange(std::string_view text, Regex::Range range);

class Regex::Engine {
public:
    using Memory = pcre2_real_match_data_8;

    Engine(std::string_view pattern, Options options);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    const std::string& pattern() const { return pattern_; }
    Options options() const { return options_; }
    std::uint32_t captureCount() const { return captureCount_; }

    Memory* makeMemory() const;
    static void freeMemory(Memory* memory);
    // Large enough for this expression; any later search on this thread overwrites it.
    Memory* threadMemory() const;
    // Pairs of offsets, the whole match first. Of groups without part both are PCRE2_UNSET, all bits set.
    static const std::size_t* offsets(Memory* memory);

    // The subject must be UTF-8 and `from` a character boundary in it. `progress` may stop a long search.
    bool search(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
                const std::function<bool()>* progress = nullptr) const;

    // Calls `found(offsets)` for each match, until it returns false.
    template <class Found>
    void each(const RegexWindow& window, Memory* memory, const std::function<bool()>* progress,
              Found found) const {
        std::size_t from = window.from;
        while (search(window.subject, from, window.flags, memory, progress)) {
            const std::size_t lower = offsets(memory)[0];
            const std::size_t upper = offsets(memory)[1];
            if (!found(offsets(memory)) || window.isAnchored) return;
            if (lower != upper) {
                from = upper;
            } else if (upper < window.subject.size()) {
                from = nextCodePoint(window.subject, upper);
            } else {
                return;
            }
        }
    }

private:
    int run(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
            pcre2_real_match_context_8* limits) const;
    bool searchInSlices(std::string_view subject, std::size_t from, std::uint32_t flags, Memory* memory,
                        const std::function<bool()>* progress) const;

    std::string pattern_;
    Options options_;
    pcre2_real_code_8* code_ = nullptr;
    pcre2_real_match_context_8* limits_ = nullptr;  // shared by all
    std::uint32_t captureCount_ = 0;
    bool jit_ = false;
    bool mayBeSliced_ = true;
};

}  // namespace quorel
