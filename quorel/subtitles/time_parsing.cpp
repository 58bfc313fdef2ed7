#include "quorel/subtitles/time_parsing.h"

#include <array>
#include <cstddef>

#include "quorel/foundation/text.h"
#include "quorel/subtitles/numbers_private.h"
#include "quorel/subtitles/subtitles_error.h"
#include "quorel/support/regex.h"

namespace quorel::TimeParsing {
namespace {

using Parts = std::array<std::uint64_t, 4>;

// The usual forms, at the speed of reading digits. What it accepts is what the patterns below accept.
bool scan(std::string_view text, Parts& parts) {
    detail::TimingScanner scanner(text);
    if (!scanner.digits(1, 19, parts[0]) || !scanner.literal(':') || !scanner.digits(1, 2, parts[1]) ||
        !scanner.literal(':') || !scanner.digits(1, 2, parts[2]) ||
        !(scanner.oneOf(',', '.') || scanner.literal(':'))) {
        return false;
    }
    const std::size_t left = scanner.rest().size();
    if (!scanner.digits(2, 3, parts[3]) || !scanner.atEnd()) return false;
    if (left == 2) parts[3] *= 10;
    return true;
}

bool match(std::string_view text, Parts& parts) {
    // "\G" adds nothing to "^" but that no search is cut into slices, against the clock.
    static const Regex milliseconds(R"(\G^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{3})$)");
    static const Regex hundredths(R"(\G^(\d+):(\d{1,2}):(\d{1,2})[,\.:](\d{2})$)");
    if (!isValidUTF8(text)) return false;
    for (const Regex* pattern : {&milliseconds, &hundredths}) {
        Regex::Matcher matcher(*pattern);
        if (!matcher.find(Regex::TextView::trusted(text))) continue;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const auto part = detail::readUnsigned(matcher.captureText(i));
            if (!part) return false;
            parts[i] = *part;
        }
        if (pattern == &hundredths) parts[3] *= 10;
        return true;
    }
    return false;
}

}  // namespace

SubtitlesTime parse(std::int64_t index, std::string_view text) {
    if (const auto time = parseIfPossible(text)) return *time;
    throw SubTitlesError::invalidTime(index);
}

std::optional<SubtitlesTime> parseIfPossible(std::string_view text) {
    if (const auto milliseconds = detail::readSigned(text)) {
        return SubtitlesTime(static_cast<double>(*milliseconds) / 1000);
    }
    Parts parts{};
    if (!scan(text, parts) && !match(text, parts)) return std::nullopt;
    return SubtitlesTime(parts[0], parts[1], parts[2], parts[3]);
}

}  // namespace quorel::TimeParsing
