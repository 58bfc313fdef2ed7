// Regular expressions over UTF-8 text: PCRE2 with its JIT compiler, behind values and ranges.
//
//   const Regex time(R"((\d+):(\d{2}))");
//   if (auto match = time.firstMatch("at 12:30")) match->captureString(0);      // "12"
//   for (const auto& m : time.matches("1:00 2:00")) std::cout << m.captureString(1);
//   Regex::Matcher matcher(time);                        // for hot paths: no allocation per match
//   while (readLine(line)) if (matcher.find(line)) use(matcher.captureText(0));
//
// A Regex is immutable and may be shared and used by any number of threads at once, without a lock. A Matcher
// belongs to one thread at a time. Texts, matches and cursors are values.
//
// Meaning of patterns: Unicode letters, digits and white space for \w, \d, \s; "." stops at every Unicode line end
// (LF, VT, FF, CR, CR LF, U+0085, U+2028, U+2029); "^" and "$" stand for the ends of the text, "$" also before a
// line end at the very end. Matches are found from left to right and do not overlap; behind an empty match the
// search goes on one character later.
//
// Ranges are byte offsets into the UTF-8 text and always fall on character boundaries. A range that a caller gives
// is rounded down to one at both ends; one that is reversed or leaves the text stops the process ("Invalid
// Range").
//
// A search that a hostile pattern and text could keep busy for minutes ends with RegexError (limitExceeded).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "quorel/foundation/error.h"
#include "quorel/support/export.h"

namespace quorel {

// Why a pattern or a search failed.
class QUOREL_VISIBLE RegexError : public Error {
public:
    enum class Code {
        invalidPattern,     // the pattern does not compile; `patternOffset` says where
        unsupportedOption,  // Options::useUnicodeWordBoundaries, which the engine does not have
        invalidText,        // the text to be searched is not UTF-8
        limitExceeded,      // the search was given up: too many steps, too much memory or too much time
    };
    RegexError(Code code, const std::string& description, std::size_t patternOffset = 0)
        : Error(description), code_(code), patternOffset_(patternOffset) {}

    Code code() const { return code_; }
    std::size_t patternOffset() const { return patternOffset_; }  // in bytes; 0 in all other cases

private:
    Code code_;
    std::size_t patternOffset_;
};

class QUOREL_SUPPORT_API Regex {
public:
    // How a pattern is read; joined by |.
    enum class Options : std::uint32_t {
        none = 0,
        caseInsensitive = 1 << 0,
        allowCommentsAndWhitespace = 1 << 1,  // white space and "#" comments in the pattern mean nothing
        ignoreMetacharacters = 1 << 2,        // the whole pattern stands for itself
        dotMatchesLineSeparators = 1 << 3,
        anchorsMatchLines = 1 << 4,      // "^" and "$" at every line
        useUnixLineSeparators = 1 << 5,  // only LF ends a line
        useUnicodeWordBoundaries = 1 << 6,
    };
    // How a search goes; joined by |.
    enum class MatchingOptions : std::uint32_t {
        none = 0,
        reportProgress = 1 << 0,    // set and cleared by enumerateMatches itself
        reportCompletion = 1 << 1,  // set by enumerateMatches itself
        anchored = 1 << 2,          // only the match that begins at the start of the range
        // Look-behind and word boundaries see the text before the range, and "^" holds at the start of the text only.
        // What follows the range is never seen.
        withTransparentBounds = 1 << 3,
        // "^" and "$" hold at the ends of the text only, not at those of the range.
        withoutAnchoringBounds = 1 << 4,
    };

    // Byte offsets: from the lower one up to, not including, the upper one.
    struct Range {
        std::size_t lower = 0;
        std::size_t upper = 0;

        bool isEmpty() const { return lower == upper; }
        bool operator==(const Range&) const = default;
    };
    // The same in UTF-16 code units, as engines and platforms count that work in UTF-16.
    struct QUOREL_SUPPORT_API UTF16Range {
        std::size_t location = 0;
        std::size_t length = 0;

        std::string description() const;  // "{2, 5}"
        bool operator==(const UTF16Range&) const = default;
    };

    class Text;
    class TextView;
    class Matcher;
    struct Match;
    class Matches;
    struct Cursor;

    // Throws RegexError (invalidPattern, unsupportedOption).
    explicit Regex(std::string_view pattern, Options options = Options::none);

    // As it was given.
    const std::string& pattern() const;
    Options options() const;
    std::size_t captureCount() const;  // groups of the pattern

    // All searches throw RegexError (limitExceeded), and (invalidText) where a text is made from plain bytes.
    // An absent range means the whole text.
    bool hasMatch(TextView text, std::optional<Range> range = {},
                  MatchingOptions options = MatchingOptions::none) const;
    std::optional<Match> firstMatch(const Text& text, std::optional<Range> range = {},
                                    MatchingOptions options = MatchingOptions::none) const;
    Matches matches(const Text& text, std::optional<Range> range = {},
                    MatchingOptions options = MatchingOptions::none) const;
    // From `lower` to the end. At or past the end stops the process with "Invalid Range".
    Matches matchesFrom(const Text& text, std::size_t lower,
                        MatchingOptions options = MatchingOptions::none) const;
    // From the start up to, not including, `upper`.
    Matches matchesUpTo(const Text& text, std::size_t upper,
                        MatchingOptions options = MatchingOptions::none) const;
    // From the start up to the end of the character (grapheme cluster, UAX #29) that begins at `last`; there must
    // be one, else the process stops with "Invalid Range".
    Matches matchesUpToIncluding(const Text& text, std::size_t last,
                                 MatchingOptions options = MatchingOptions::none) const;

    // Calls `capture` with each match in turn. `progress`, which may be empty, is called from time to time while a
    // long search (more than 16 KiB) goes on without a match. Each ends the enumeration by returning false. Both
    // run on the caller's thread, before this returns.
    void enumerateMatches(const Text& text, std::optional<Range> range, const std::function<bool()>& progress,
                          const std::function<bool(const Match&)>& capture) const;

    // The text with every match in the range replaced. In the template, "$" and a number stands for the text of
    // that group (0 for the whole match, nothing for a group that took no part or does not exist), where the
    // number has at most as many digits as the count of groups; a "$" without digit stands for itself; "\" makes
    // the character behind it stand for itself.
    std::string stringByReplacingMatchesWithTemplate(TextView text, std::string_view escapedTemplate,
                                                     std::optional<Range> range = {},
                                                     MatchingOptions options = MatchingOptions::none) const;
    // The same, with a replacement that stands for itself.
    std::string stringByReplacingMatches(TextView text, std::string_view replacement,
                                         std::optional<Range> range = {},
                                         MatchingOptions options = MatchingOptions::none) const;
    // "\" before each "\" and "$".
    static std::string escapedTemplate(std::string_view text);

    // How much work one search may do: steps of the engine that try an alternative, and seconds of a search
    // through more than 16 KiB.
    static constexpr std::uint32_t stepLimit = 10'000'000;
    static constexpr double longSearchSeconds = 5.0;

private:
    class Engine;
    std::shared_ptr<const Engine> engine_;
};

constexpr Regex::Options operator|(Regex::Options a, Regex::Options b) {
    return static_cast<Regex::Options>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
// Whether all bits of `one` are set.
constexpr bool contains(Regex::Options set, Regex::Options one) {
    return (static_cast<std::uint32_t>(set) & static_cast<std::uint32_t>(one)) != 0;
}
constexpr Regex::MatchingOptions operator|(Regex::MatchingOptions a, Regex::MatchingOptions b) {
    return static_cast<Regex::MatchingOptions>(static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b));
}
// The same.
constexpr bool contains(Regex::MatchingOptions set, Regex::MatchingOptions one) {
    return (static_cast<std::uint32_t>(set) & static_cast<std::uint32_t>(one)) != 0;
}

// Text that is known to be UTF-8, seen without owning it. Made from plain text it is checked, once.
class QUOREL_SUPPORT_API Regex::TextView {
public:
    template <class T>
    requires std::is_convertible_v<const T&, std::string_view> TextView(const T& text) : view_(checked(text)) {}
    TextView(const Text& text);
    // For text that the caller has checked, such as a line of a checked text. Anything else is undefined
    // behaviour.
    static TextView trusted(std::string_view text) { return TextView(text, Trusted()); }

    std::string_view view() const { return view_; }

private:
    struct Trusted {};
    TextView(std::string_view text, Trusted) : view_(text) {}
    static std::string_view checked(std::string_view text);

    std::string_view view_;
};

// Text that is known to be UTF-8, shared by all its copies and by the matches found in it. Make one to search the
// same text more than once: plain text is copied and checked each time it becomes a Text.
class QUOREL_SUPPORT_API Regex::Text {
public:
    template <class T>
    requires std::is_convertible_v<const T&, std::string_view> Text(const T& text)
        : Text(std::string(std::string_view(text)), Owned()) {}
    Text(std::string&& text) : Text(std::move(text), Owned()) {}

    const std::string& string() const { return *text_; }
    Range range() const { return {0, text_->size()}; }
    // The texts of ranges, rounded as all ranges are.
    std::string_view substring(Range range) const;

    bool operator==(const Text& other) const { return *text_ == *other.text_; }

private:
    struct Owned {};
    Text(std::string text, Owned);

    std::shared_ptr<const std::string> text_;
};

inline Regex::TextView::TextView(const Text& text) : view_(text.string()) {}

// The lean road: searches without building values. Keeps a reference to the expression and the engine's memory, so
// that a search allocates nothing.
class QUOREL_SUPPORT_API Regex::Matcher {
public:
    // Takes the memory that a search needs.
    explicit Matcher(const Regex& regex);
    Matcher(Matcher&&) noexcept;
    Matcher& operator=(Matcher&&) noexcept;
    ~Matcher();

    // The first match that begins at or after `from`, a character boundary not past the end. "^" and look-behind
    // see the text before `from`.
    bool find(TextView text, std::size_t from = 0);
    // After a successful find() with the same text: the next match, not overlapping the last one.
    bool findNext(TextView text);

    // Of the last successful find, as long as its text lives. Of a group that took no part the range is {0, 0}. An
    // index past captureCount() stops the process.
    Range range() const;
    std::size_t captureCount() const;
    Range capture(std::size_t index) const;
    std::string_view captureText(std::size_t index) const;

private:
    std::shared_ptr<const Engine> engine_;
    std::unique_ptr<void, void (*)(void*)> memory_;
    const std::size_t* offsets_ = nullptr;
    std::string_view text_;
};

// One match. A group that took no part has the empty range at the start of the text, and reads like one that
// matched nothing.
struct QUOREL_SUPPORT_API Regex::Match {
    Range range;
    std::vector<Range> captures;  // group 1 first
    Text matchText;               // the searched text

    // The text of a group; an index out of bounds stops the process.
    std::string captureString(std::size_t index) const;
    std::vector<std::string> captureStrings() const;

    bool operator==(const Match&) const = default;
};

// All matches of a search, with the text that they were found in.
class QUOREL_SUPPORT_API Regex::Matches {
public:
    // One match after the other; null behind the last.
    class MatchIterator {
    public:
        explicit MatchIterator(std::span<const Match> matches) : matches_(matches) {}
        // null behind the last one
        const Match* next() { return offset_ < matches_.size() ? &matches_[offset_++] : nullptr; }
        std::size_t offset() const { return offset_; }

    private:
        std::span<const Match> matches_;
        std::size_t offset_ = 0;
    };

    Matches(Text text, std::string pattern, std::vector<Match> matches)
        : text_(std::move(text)), pattern_(std::move(pattern)), matches_(std::move(matches)) {}

    const std::string& text() const { return text_.string(); }
    const std::string& pattern() const { return pattern_; }
    const std::vector<Match>& matches() const { return matches_; }

    Range textRange() const { return text_.range(); }
    std::size_t count() const { return matches_.size(); }
    bool isEmpty() const { return matches_.empty(); }
    const Match& operator[](std::size_t index) const;  // out of bounds stops the process
    auto begin() const { return matches_.begin(); }
    auto end() const { return matches_.end(); }
    MatchIterator makeIterator() const { return MatchIterator(matches_); }

    // One match, from the start of the text to its end.
    bool isExactMatch() const;
    std::vector<std::string> textMatching() const;
    std::string text(const Match& match) const { return text(match.range); }
    std::string text(Range range) const;
    std::vector<std::string> text(std::span<const Range> ranges) const;
    std::vector<std::string> textForCaptures(const Match& match) const { return text(match.captures); }
    std::string text(std::size_t match) const { return text((*this)[match]); }
    // Both counted from 0; capture 0 is group 1 of the pattern.
    std::string text(std::size_t match, std::size_t capture) const;

private:
    Text text_;
    std::string pattern_;
    std::vector<Match> matches_;
};

// A place in a text from which the search can be resumed.
struct QUOREL_SUPPORT_API Regex::Cursor {
    Regex regex;
    MatchingOptions matchingOptions = MatchingOptions::none;
    Match match;

    Range range() const { return match.range; }
    // The range in UTF-16 code units of `text`, which is the one that was searched.
    UTF16Range nsRange(std::string_view text) const;
    // Prints "{2, 5} -> '12:30'" as a log line, for diagnosis, and gives it.
    std::string describeRange(std::string_view text) const;
};

// The operations of Regex, text first.
QUOREL_SUPPORT_API bool hasMatch(Regex::TextView text, const Regex& regex);
QUOREL_SUPPORT_API Regex::Matches matches(const Regex::Text& text, const Regex& regex);
// Nothing when `startingAt` is at or past the end of the text.
QUOREL_SUPPORT_API std::optional<Regex::Cursor> firstMatch(
    const Regex::Text& text, const Regex& regex, std::size_t startingAt = 0,
    Regex::MatchingOptions options = Regex::MatchingOptions::none);
// Searches from `startingAt`, or from where the cursor's match ends, to the end of the text, and then, with
// `loop`, from the start. Nothing, `loop` or not, when the search would begin at or past the end.
QUOREL_SUPPORT_API std::optional<Regex::Cursor> nextMatch(const Regex::Text& text, const Regex::Cursor& cursor,
                                                          bool loop = false,
                                                          std::optional<std::size_t> startingAt = {});

}  // namespace quorel
