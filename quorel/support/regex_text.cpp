// The text side of the wrapper: checked texts, what matches say about them, cursors, UTF-16 offsets.
#include <cstddef>
#include <span>
#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/support/regex_engine.h"

namespace quorel {
namespace {

std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        length += static_cast<std::size_t>((byte & 0xC0) != 0x80) + static_cast<std::size_t>(byte >= 0xF0);
    }
    return length;
}

// The end of the grapheme cluster that begins at `offset`.
std::size_t nextGrapheme(std::string_view text, std::size_t offset) {
    static const Regex cluster(R"(\X)");
    Regex::Matcher matcher(cluster);
    matcher.find(Regex::TextView::trusted(text.substr(offset)));
    return offset + matcher.range().upper;
}

void requireUTF8(std::string_view text) {
    if (!isValidUTF8(text)) {
        throw RegexError(RegexError::Code::invalidText, "The text to be searched is not valid UTF-8.");
    }
}

}  // namespace

std::string_view Regex::TextView::checked(std::string_view text) {
    requireUTF8(text);
    return text;
}

Regex::Text::Text(std::string text, Owned) {
    requireUTF8(text);
    text_ = std::make_shared<const std::string>(std::move(text));
}

std::string_view Regex::Text::substring(Range range) const {
    const Range rounded = checkedRange(*text_, range);
    return std::string_view(*text_).substr(rounded.lower, rounded.upper - rounded.lower);
}

Regex::Matches Regex::matchesUpToIncluding(const Text& text, std::size_t last, MatchingOptions options) const {
    const std::string& string = text.string();
    if (last >= string.size()) fatal("Invalid Range");
    return matches(text, Range{0, nextGrapheme(string, characterBoundary(string, last))}, options);
}

std::string Regex::UTF16Range::description() const {
    std::string text = "{";
    text.append(std::to_string(location)).append(", ").append(std::to_string(length)).append("}");
    return text;
}

std::string Regex::Match::captureString(std::size_t index) const {
    if (index >= captures.size()) fatal("Index out of range");
    return std::string(matchText.substring(captures[index]));
}

std::vector<std::string> Regex::Match::captureStrings() const {
    std::vector<std::string> strings;
    strings.reserve(captures.size());
    for (const Range& capture : captures) strings.emplace_back(matchText.substring(capture));
    return strings;
}

const Regex::Match& Regex::Matches::operator[](std::size_t index) const {
    if (index >= matches_.size()) fatal("Index out of range");
    return matches_[index];
}

bool Regex::Matches::isExactMatch() const {
    return matches_.size() == 1 && matches_[0].range == textRange();
}

std::vector<std::string> Regex::Matches::textMatching() const {
    std::vector<std::string> texts;
    texts.reserve(matches_.size());
    for (const Match& match : matches_) texts.push_back(text(match));
    return texts;
}

std::string Regex::Matches::text(Range range) const {
    return std::string(text_.substring(range));
}

std::vector<std::string> Regex::Matches::text(std::span<const Range> ranges) const {
    std::vector<std::string> texts;
    texts.reserve(ranges.size());
    for (const Range& range : ranges) texts.push_back(text(range));
    return texts;
}

std::string Regex::Matches::text(std::size_t match, std::size_t capture) const {
    return (*this)[match].captureString(capture);
}

Regex::UTF16Range Regex::Cursor::nsRange(std::string_view text) const {
    const Range bounds = checkedRange(text, match.range);
    return {utf16Length(text.substr(0, bounds.lower)),
            utf16Length(text.substr(bounds.lower, bounds.upper - bounds.lower))};
}

std::string Regex::Cursor::describeRange(std::string_view text) const {
    const Range bounds = checkedRange(text, match.range);
    std::string line = nsRange(text).description();
    line.append(" -> '").append(text.substr(bounds.lower, bounds.upper - bounds.lower)).append("'");
    logLine(line);
    return line;
}

bool hasMatch(Regex::TextView text, const Regex& regex) {
    return regex.hasMatch(text);
}

Regex::Matches matches(const Regex::Text& text, const Regex& regex) {
    return regex.matches(text);
}

std::optional<Regex::Cursor> firstMatch(const Regex::Text& text, const Regex& regex, std::size_t startingAt,
                                        Regex::MatchingOptions options) {
    const std::size_t end = text.string().size();
    if (startingAt >= end) return std::nullopt;
    auto match = regex.firstMatch(text, Regex::Range{startingAt, end}, options);
    if (!match) return std::nullopt;
    return Regex::Cursor{regex, options, *std::move(match)};
}

std::optional<Regex::Cursor> nextMatch(const Regex::Text& text, const Regex::Cursor& cursor, bool loop,
                                       std::optional<std::size_t> startingAt) {
    const std::size_t start = startingAt.value_or(cursor.range().upper);
    if (start >= text.string().size()) return std::nullopt;
    auto next = firstMatch(text, cursor.regex, start, cursor.matchingOptions);
    if (!next && loop) next = firstMatch(text, cursor.regex, 0, cursor.matchingOptions);
    return next;
}

}  // namespace quorel
