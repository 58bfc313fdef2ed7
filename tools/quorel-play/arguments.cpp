#include "tools/quorel-play/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <utility>

namespace quorel::play {

namespace {

constexpr std::string_view help =
    R"(quorel-play: plays a title by its content id, without a window, and tells what happens

usage: quorel-play CONTENT_ID [options]

where the title comes from
  --sandbox          start a local backend in this process and play from it (ids: sample, sample-aes,
                     sample-fmp4, sample-audio, live, ads, ...; docs/tools.md has all of them)
  --backend URL      ask the backend at URL, as http://127.0.0.1:8090 of quorel-sandbox
  --token TEXT       the bearer token; needed unless --sandbox is given
  --on-air-after S   with --sandbox: the live title starts soon, and comes on air S seconds after the start

what is played
  --start S          begin at S seconds
  --seconds N        stop after N seconds of the title (default: at its end)
  --rate R           speed, 0.1 to 16 (default: 1)
  --subtitle LANG    show the subtitle of this language, as pt-br
  --list-tracks      print the subtitle tracks that the title has, and stop
  --mute             without sound
  --timeout S        give up after S seconds without a picture or without progress (default: 20)

what comes out
  --snapshot FILE    write the last picture to FILE as PNG; of ads too: out.png has out-ad-1.png beside it
  --trace-network    print each request to the backend and to analytics, and each response; not what the engine loads
  --debug            print what sideloading does to playlists and subtitle files
  --json             one JSON object per line for each event, and a last one that sums up
  --help, --version

exit codes
  0  played as asked, or interrupted after the first picture
  1  the title could not be loaded, or playing it failed
  2  the command line makes no sense
  3  there was no picture in time
)";

// A number and nothing else.
double number(std::string_view option, std::string_view text, double lowest, double highest) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool readable = error == std::errc() && end == text.data() + text.size();
    if (!readable || !(value >= lowest && value <= highest)) {
        throw UsageError{fmt::format("{} needs a number from {} to {}, not '{}'", option, lowest, highest, text)};
    }
    return value;
}

}  // namespace

std::variant<Arguments, UsageError, Information> parseArguments(const std::vector<std::string_view>& words) {
    Arguments result;
    bool help_ = false;
    bool version = false;
    constexpr double day = 86'400;
    const std::map<std::string_view, std::function<void()>> switches = {
        {"--sandbox", [&] { result.sandbox = true; }},
        {"--mute", [&] { result.mute = true; }},
        {"--json", [&] { result.json = true; }},
        {"--debug", [&] { result.debug = true; }},
        {"--list-tracks", [&] { result.listTracks = true; }},
        {"--trace-network", [&] { result.traceNetwork = true; }},
        {"--help", [&] { help_ = true; }},
        {"-h", [&] { help_ = true; }},
        {"--version", [&] { version = true; }},
    };
    using Value = std::string_view;
    const std::map<std::string_view, std::function<void(Value)>> options = {
        {"--token", [&](Value value) { result.token = value; }},
        {"--backend",
         [&](Value value) {
             result.backend = URL::parse(value);
             const auto scheme = result.backend ? result.backend->scheme() : std::nullopt;
             if ((scheme != "http" && scheme != "https") || !result.backend->host().has_value()) {
                 throw UsageError{fmt::format("--backend needs a URL with http or https, not '{}'", value)};
             }
         }},
        {"--snapshot", [&](Value value) { result.snapshot = value; }},
        {"--subtitle", [&](Value value) { result.subtitle = value; }},
        {"--seconds", [&](Value value) { result.seconds = number("--seconds", value, 0, day); }},
        {"--on-air-after", [&](Value value) { result.onAirAfter = number("--on-air-after", value, 0, day); }},
        {"--start", [&](Value value) { result.start = number("--start", value, 0, day); }},
        {"--rate", [&](Value value) { result.rate = number("--rate", value, 0.1, 16); }},
        {"--timeout", [&](Value value) { result.timeout = number("--timeout", value, 0.1, day); }},
    };

    std::vector<std::string_view> ids;
    try {
        for (std::size_t i = 0; i < words.size(); ++i) {
            const std::string_view word = words[i];
            if (!word.starts_with('-')) {
                ids.push_back(word);
                continue;
            }
            const std::size_t equals = word.find('=');
            const std::string_view name = word.substr(0, equals);
            if (const auto found = switches.find(name); found != switches.end()) {
                if (equals != std::string_view::npos) throw UsageError{fmt::format("{} takes no value", name)};
                found->second();
            } else if (const auto option = options.find(name); option != options.end()) {
                const bool separate = equals == std::string_view::npos;
                if (separate && i + 1 == words.size()) throw UsageError{fmt::format("{} needs a value", name)};
                option->second(separate ? words[++i] : word.substr(equals + 1));
            } else {
                throw UsageError{fmt::format("there is no option '{}'", name)};
            }
        }
        if (help_) return Information{std::string(help)};
        if (version) return Information{fmt::format("quorel-play {}\n", QUOREL_VERSION)};
        if (ids.empty()) throw UsageError{"a content id is missing, as in: quorel-play sample --sandbox"};
        if (ids.size() > 1) throw UsageError{fmt::format("one content id at a time, not also '{}'", ids[1])};
        if (result.sandbox && result.backend) throw UsageError{"--sandbox and --backend exclude each other"};
        if (result.onAirAfter && !result.sandbox) throw UsageError{"--on-air-after needs --sandbox"};
        if (!result.sandbox && !result.token) {
            throw UsageError{"--token is missing (or --sandbox, to play from a local backend)"};
        }
    } catch (const UsageError& error) {
        return UsageError{fmt::format("quorel-play: {}; see quorel-play --help\n", error.line)};
    }
    result.contentId = ids.front();
    return result;
}

}  // namespace quorel::play
