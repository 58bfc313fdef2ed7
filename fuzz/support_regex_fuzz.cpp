// A pattern up to the first line feed, and a text: whatever they are, searches end, matches lie in order on
// character boundaries, and all roads find the same.
#include <cstdint>
#include <cstdlib>

#include "quorel/support/regex.h"

using quorel::Regex;
using quorel::RegexError;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

bool isBoundary(const std::string& text, std::size_t at) {
    return at == text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 4096) return 0;
    const std::string_view input(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t line = std::min(input.find('\n'), input.size());
    const std::string_view plain = input.substr(std::min(line + 1, input.size()));
    try {
        const Regex regex(input.substr(0, line), static_cast<Regex::Options>(data[0] & 0x3F));
        const Regex::Text text(plain);
        const auto matches = regex.matches(text);
        require(regex.hasMatch(text) == !matches.isEmpty());
        Regex::Matcher matcher(regex);
        bool more = matcher.find(text);
        std::size_t last = 0;
        for (const auto& match : matches) {
            require(more && match.range == matcher.range() && match.captures.size() == regex.captureCount());
            require(match.range.lower <= match.range.upper && match.range.upper <= plain.size());
            require(match.range.lower >= last || match.range.isEmpty());
            require(isBoundary(text.string(), match.range.lower) && isBoundary(text.string(), match.range.upper));
            last = match.range.upper;
            for (std::size_t i = 0; i < match.captures.size(); ++i)
                require(match.captures[i] == matcher.capture(i));
            match.captureStrings();
            more = matcher.findNext(text);
        }
        require(!more);
        require(regex.stringByReplacingMatchesWithTemplate(text, "$0") == plain);
        regex.stringByReplacingMatchesWithTemplate(text, plain.substr(0, 16));
        regex.stringByReplacingMatches(text, plain.substr(0, 16));
        auto cursor = firstMatch(text, regex);
        for (int i = 0; cursor && i < 8; ++i) {
            cursor->nsRange(plain);
            cursor = nextMatch(text, *cursor, i % 2 == 0);
        }
        if (!plain.empty()) regex.matchesUpToIncluding(text, plain.size() / 2);
    } catch (const RegexError&) {
    }
    return 0;
}
