#include "tools/quorel-subtitles/arguments.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <utility>

#include "quorel/foundation/text.h"
#include "tools/quorel-subtitles/formats.h"

namespace quorel::subtitles_tool {
namespace {

constexpr std::pair<std::string_view, Command> commands[] = {{"convert", Command::convert},
                                                             {"shift", Command::shift},
                                                             {"info", Command::info},
                                                             {"check", Command::check},
                                                             {"formats", Command::formats}};

std::optional<double> readNumber(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isRead = error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
    return isRead && !text.starts_with('-') ? std::optional(value) : std::nullopt;
}

// "2.5", "-2.5", "+1:02.5", "00:01:02.500", in seconds.
double readTime(std::string_view option, std::string_view text, bool mayBeNegative) {
    constexpr double longest = 1000 * 3600;
    std::string_view rest = text;
    const bool isNegative = rest.starts_with('-');
    if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
    const auto parts = split(rest, ':');
    double seconds = 0;
    bool isRead = parts.size() <= 3;
    for (const std::string_view part : parts) {
        const auto number = readNumber(part);
        isRead = isRead && number.has_value();
        seconds = seconds * 60 + number.value_or(0);
    }
    if (!isRead || seconds > longest || (isNegative && !mayBeNegative)) {
        throw UsageError{fmt::format("{} needs a time of up to 1000 hours, as {}2.5 or 00:01:02.500, not '{}'",
                                     option, mayBeNegative ? "-" : "", text)};
    }
    return isNegative ? -seconds : seconds;
}

double readFramesPerSecond(std::string_view text) {
    const auto number = readNumber(text);
    if (!number || *number < 1 || *number > 1000) {
        throw UsageError{fmt::format("--fps needs a number from 1 to 1000, not '{}'", text)};
    }
    return *number;
}

TextEncoding readEncoding(std::string_view option, std::string_view name) {
    if (const auto encoding = TextEncoding::named(name)) return *encoding;
    throw UsageError{
        fmt::format("{} needs the name of an encoding, as utf-8 or windows-1252, not '{}'", option, name)};
}

std::string readFormat(std::string_view option, std::string_view name) {
    std::string extension = asciiLowercased(name);
    if (extension.starts_with('.')) extension.erase(0, 1);
    if (findFormat(extension) == nullptr) {
        throw UsageError{fmt::format("{} needs one of {}, not '{}'", option, allExtensions(), name)};
    }
    return extension;
}

class Parser {
public:
    Arguments parse(const std::vector<std::string_view>& words) {
        result_.command = readCommand(words.front());
        bool onlyFiles = false;
        for (std::size_t i = 1; i < words.size(); ++i) {
            const std::string_view word = words[i];
            if (onlyFiles || word == "-" || !word.starts_with('-')) {
                result_.inputs.emplace_back(word);
            } else if (word == "--") {
                onlyFiles = true;
            } else {
                readOption(words, i);
            }
        }
        if (wantsHelp) return result_;
        requireSense();
        return result_;
    }

    bool wantsHelp = false;

private:
    using Value = std::string_view;
    // Which commands know an option.
    enum Scope : unsigned { writing = 1, shifting = 2, reading = 4, checking = 8, anywhere = 16 };

    struct Option {
        unsigned scope;
        std::function<void()> set;
        std::function<void(Value)> take;  // of an option with a value
    };

    static Command readCommand(std::string_view word) {
        for (const auto& [name, command] : commands) {
            if (name == word) return command;
        }
        throw UsageError{
            fmt::format("there is no command '{}'; there are convert, shift, info, check, formats", word)};
    }

    unsigned scopes() const {
        switch (result_.command) {
            case Command::convert:
                return writing | reading | anywhere;
            case Command::shift:
                return writing | shifting | reading | anywhere;
            case Command::info:
                return reading | anywhere;
            case Command::check:
                return reading | checking | anywhere;
            case Command::formats:
                break;
        }
        return anywhere;
    }

    void readOption(const std::vector<std::string_view>& words, std::size_t& i) {
        const std::string_view word = words[i];
        const std::size_t equals = word.find('=');
        const std::string_view name = word.substr(0, equals);
        const auto found = options_.find(name);
        if (found == options_.end() || (found->second.scope & scopes()) == 0) {
            throw UsageError{fmt::format("'{}' has no option '{}'", words.front(), name)};
        }
        if (found->second.set) {
            if (equals != std::string_view::npos) throw UsageError{fmt::format("{} takes no value", name)};
            return found->second.set();
        }
        const bool isSeparate = equals == std::string_view::npos;
        if (isSeparate && i + 1 == words.size()) throw UsageError{fmt::format("{} needs a value", name)};
        found->second.take(isSeparate ? words[++i] : word.substr(equals + 1));
    }

    void requireSense() const {
        if (result_.command == Command::formats) {
            if (!result_.inputs.empty()) throw UsageError{"'formats' takes no files"};
            return;
        }
        if (result_.inputs.empty()) throw UsageError{"a file is missing"};
        const bool readsStandardInput =
            std::find(result_.inputs.begin(), result_.inputs.end(), "-") != result_.inputs.end();
        if (readsStandardInput && !result_.from) {
            throw UsageError{"the format of standard input is missing, as --from srt"};
        }
        const bool writes = result_.command == Command::convert || result_.command == Command::shift;
        if (result_.json && writes && result_.output.value_or(readsStandardInput ? "-" : "") == "-") {
            throw UsageError{"--json and the converted file cannot both go to standard output"};
        }
        if (result_.command == Command::shift) {
            if (!hasOffset_) throw UsageError{"--offset is missing, as --offset -2.5"};
            if (result_.inPlace && (result_.output || result_.to)) {
                throw UsageError{"--in-place excludes --output and --to"};
            }
            if (result_.inPlace && readsStandardInput) throw UsageError{"--in-place needs files"};
        }
        if (result_.at != 0 && !hasOffset_) throw UsageError{"--at needs an --offset"};
    }

    Arguments result_;
    bool hasOffset_ = false;

    const std::map<std::string_view, Option> options_ = {
        {"--from", {reading, {}, [this](Value value) { result_.from = readFormat("--from", value); }}},
        {"--to", {writing, {}, [this](Value value) { result_.to = readFormat("--to", value); }}},
        {"--encoding",
         {reading, {}, [this](Value value) { result_.encoding = readEncoding("--encoding", value); }}},
        {"--output-encoding",
         {writing,
          {},
          [this](Value value) { result_.outputEncoding = readEncoding("--output-encoding", value); }}},
        {"--fps", {reading, {}, [this](Value value) { result_.framesPerSecond = readFramesPerSecond(value); }}},
        {"--offset",
         {writing,
          {},
          [this](Value value) {
              result_.offset = readTime("--offset", value, true);
              hasOffset_ = true;
          }}},
        {"--at", {writing, {}, [this](Value value) { result_.at = readTime("--at", value, false); }}},
        {"--output", {writing, {}, [this](Value value) { result_.output = value; }}},
        {"-o", {writing, {}, [this](Value value) { result_.output = value; }}},
        {"--in-place", {shifting, [this] { result_.inPlace = true; }, {}}},
        {"--recursive", {reading, [this] { result_.recursive = true; }, {}}},
        {"--force", {writing, [this] { result_.force = true; }, {}}},
        {"--strict", {checking, [this] { result_.strict = true; }, {}}},
        {"--quiet", {writing | checking, [this] { result_.quiet = true; }, {}}},
        {"--json", {anywhere, [this] { result_.json = true; }, {}}},
        {"--help", {anywhere, [this] { wantsHelp = true; }, {}}},
        {"-h", {anywhere, [this] { wantsHelp = true; }, {}}},
    };
};

}  // namespace

std::variant<Arguments, UsageError, Information> parseArguments(const std::vector<std::string_view>& words) {
    if (words.empty()) return UsageError{std::string(helpText())};
    if (words.front() == "--version") return Information{fmt::format("quorel-subtitles {}\n", QUOREL_VERSION)};
    if (words.front() == "--help" || words.front() == "-h" || words.front() == "help") {
        return Information{std::string(helpText())};
    }
    try {
        Parser parser;
        Arguments arguments = parser.parse(words);
        if (parser.wantsHelp) return Information{std::string(helpText(arguments.command))};
        return arguments;
    } catch (const UsageError& error) {
        bool isCommand = false;
        for (const auto& entry : commands) isCommand = isCommand || entry.first == words.front();
        return UsageError{fmt::format("quorel-subtitles: {}; see quorel-subtitles {}--help\n", error.line,
                                      isCommand ? fmt::format("{} ", words.front()) : "")};
    }
}

}  // namespace quorel::subtitles_tool
