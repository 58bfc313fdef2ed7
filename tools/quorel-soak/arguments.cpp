#include "tools/quorel-soak/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <cstddef>

namespace quorel::soak {

namespace {

constexpr std::string_view help =
    R"(quorel-soak [SECONDS] [--seed N] [--from ROUND] [--json FILE] [--verbose]

Plays the sandbox's titles with the GStreamer engine for SECONDS (3600 unless said otherwise), against a server that
lies, stalls, cuts connections and returns garbage, while somebody seeks, switches and leaves at any moment, and watches
that every load comes to an end, that nothing is left behind, and that the player always recovers.

  --seed N      which trouble and which viewer: the same seed does the same things in the same order
  --from ROUND  begins with this round of the seed, as the line of a failure names it
  --json FILE   writes what was seen, as one JSON object
  --verbose     tells every event and every line of the log

Exit code 0: nothing was wrong; 1: something was, and is said; 2: usage.
)";

template <class Number>
std::optional<Number> number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

std::variant<Arguments, Message> parseArguments(const std::vector<std::string_view>& arguments) {
    Arguments parsed;
    const auto wrong = [](const std::string& what) {
        return Message{fmt::format("quorel-soak: {}; see quorel-soak --help\n", what), 2};
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view word = arguments[i];
        if (word == "--help" || word == "-h") return Message{std::string(help), 0};
        if (word == "--verbose") {
            parsed.verbose = true;
            continue;
        }
        if (word == "--seed" || word == "--from" || word == "--json") {
            if (++i == arguments.size()) return wrong(fmt::format("{} needs a value", word));
            if (word == "--json") {
                parsed.json = arguments[i];
                continue;
            }
            const auto value = number<std::uint64_t>(arguments[i]);
            if (!value) return wrong(fmt::format("{} needs a whole number, not '{}'", word, arguments[i]));
            (word == "--seed" ? parsed.seed : parsed.firstRound) = *value;
            continue;
        }
        const auto seconds = number<double>(word);
        if (!seconds || !(*seconds > 0)) return wrong(fmt::format("'{}' is no number of seconds", word));
        parsed.seconds = *seconds;
    }
    return parsed;
}

}  // namespace quorel::soak
