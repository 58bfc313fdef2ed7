// quorel-hls: prints a playlist as sideloading would rewrite it.

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quorel/foundation/log.h"
#include "quorel/foundation/text.h"
#include "quorel/sideload/connector.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/variant_playlist_parser.h"

namespace {

using namespace quorel;

constexpr std::string_view help =
    R"(quorel-hls: prints an HLS playlist as the SDK rewrites it where subtitle files are sideloaded

usage: quorel-hls PLAYLIST [--track URL[,LANGUAGE[,LABEL]]]... [--url URL]

  PLAYLIST      a URL with http or https, a file, or - for standard input
  --track       a subtitle file to offer, as https://subs.example/pt.srt,pt-br,Português; for master playlists.
                Without a label the language stands in; a track that has neither is left out, as in the SDK
  --url URL     where the playlist of a file would be (default: https://cdn.example/ and the file's name)
  --debug       also print what the SDK writes to its log
  --help, --version

The rewritten playlist goes to standard output, the duration of a media playlist to standard error.
Exit codes: 0 done; 1 the playlist could not be read, or is none; 2 the command line makes no sense.
)";

struct UsageError {
    std::string line;
};

class Failure : public Error {
public:
    explicit Failure(std::string_view text) : Error(std::string(text)) {}
};

struct Arguments {
    std::string playlist;
    std::optional<URL> url;
    MasterPlaylistParser::Subtitles tracks;
};

std::shared_ptr<const TextTrackDescription> track(std::string_view text) {
    const std::size_t first = text.find(',');
    const std::size_t second = first == text.npos ? text.npos : text.find(',', first + 1);
    const std::string src(text.substr(0, first));
    const std::string language(first == text.npos ? "" : text.substr(first + 1, second - first - 1));
    const std::string label(second == text.npos ? language : std::string(text.substr(second + 1)));
    if (!URL::parse(src)) throw UsageError{fmt::format("--track needs a URL, not '{}'", src)};
    return std::make_shared<TextTrackDescription>(src, language, true, TextTrackKind::subtitles,
                                                  label.empty() ? std::nullopt : std::optional(label));
}

// Absent when a text was asked for, and printed.
std::optional<Arguments> parseArguments(const std::vector<std::string_view>& words) {
    Arguments result;
    setLogSink([](std::string_view) {});
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::size_t equals = words[i].starts_with("--") ? words[i].find('=') : std::string_view::npos;
        const std::string_view option = words[i].substr(0, equals);
        const auto value = [&] {
            if (equals != std::string_view::npos) return words[i].substr(equals + 1);
            if (i + 1 == words.size()) throw UsageError{fmt::format("{} needs a value", words[i])};
            return words[++i];
        };
        if (words[i] == "--help" || words[i] == "-h") {
            fmt::print("{}", help);
            return std::nullopt;
        } else if (words[i] == "--version") {
            fmt::print("quorel-hls {}\n", QUOREL_VERSION);
            return std::nullopt;
        } else if (words[i] == "--debug") {
            SideloadedSubtitleConnector::SHOW_DEBUG_LOGS = true;
            setLogSink([](std::string_view line) { fmt::print(stderr, "{}\n", line); });
        } else if (option == "--track") {
            result.tracks.push_back(track(value()));
        } else if (option == "--url") {
            const std::string_view text = value();
            result.url = URL::parse(text);
            if (!result.url || !result.url->host()) {
                throw UsageError{fmt::format("--url needs a URL with a host, not '{}'", text)};
            }
        } else if (words[i].starts_with('-') && words[i] != "-") {
            throw UsageError{fmt::format("there is no option '{}'", words[i])};
        } else if (!result.playlist.empty()) {
            throw UsageError{fmt::format("one playlist at a time, not also '{}'", words[i])};
        } else {
            result.playlist = words[i];
        }
    }
    if (result.playlist.empty()) throw UsageError{"a playlist is missing"};
    return result;
}

struct Playlist {
    URL url;
    std::string text;
};

Playlist load(const URL& url) {
    UrlSession session;
    std::promise<UrlSession::Result> promise;
    session.dataTask(URLRequest(url), [&](UrlSession::Result result) { promise.set_value(std::move(result)); })
        ->resume();
    auto result = promise.get_future().get();
    if (const auto* error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
    auto& reply = std::get<DataAndResponse>(result);
    if (reply.response.statusCode.value_or(200) >= 400) {
        throw Failure(fmt::format("the server answered with status {}", *reply.response.statusCode));
    }
    return {reply.response.url, std::move(reply.data)};
}

Playlist read(const Arguments& arguments) {
    const std::string& name = arguments.playlist;
    if (const auto url = URL::parse(name); url && (url->scheme() == "http" || url->scheme() == "https")) {
        return load(*url);
    }
    std::string text;
    std::string file = "playlist.m3u8";
    if (name == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
    } else {
        std::ifstream in(name, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(in), {});
        if (!in) throw Failure("the file cannot be read");
        file = name.substr(name.rfind('/') + 1);
    }
    const URL folder = *URL::parse("https://cdn.example/");
    return {arguments.url.value_or(folder.appendingPathComponent(file)), std::move(text)};
}

void rewrite(const Arguments& arguments) {
    Playlist playlist = read(arguments);
    constexpr std::string_view noPlaylist =
        "this is no playlist: its first line has no #EXTM3U, or it is not UTF-8";
    if (playlist.text.find("#EXT-X-STREAM-INF") != std::string::npos) {
        const auto parser = MasterPlaylistParser::make(std::move(playlist.url));
        if (!parser->accept(std::move(playlist.text))) throw Failure(noPlaylist);
        fmt::print("{}\n", parser->rewrite(arguments.tracks));
        return;
    }
    const auto parser = VariantPlaylistParser::make(std::move(playlist.url));
    if (!parser->accept(std::move(playlist.text))) throw Failure(noPlaylist);
    parser->rewrite();
    fmt::print("{}\n", *parser->manifestData());
    if (!arguments.tracks.empty())
        fmt::print(stderr, "quorel-hls: tracks go into master playlists; this is none\n");
    fmt::print(stderr, "duration: {} s\n", parser->totalPlayListDuration());
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::vector<std::string_view> words(argv + (argc > 0 ? 1 : 0), argv + argc);
        const auto arguments = parseArguments(words);
        if (!arguments) return 0;
        std::signal(SIGXFSZ, SIG_IGN);  // an error of the write instead
        try {
            rewrite(*arguments);
            if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
                throw Failure("standard output cannot be written");
        } catch (const std::exception& error) {  // what {fmt} throws when it cannot write, too
            fmt::print(stderr, "quorel-hls: {}: {}\n", arguments->playlist, error.what());
            return 1;
        }
    } catch (const UsageError& error) {
        fmt::print(stderr, "quorel-hls: {}; see quorel-hls --help\n", error.line);
        return 2;
    }
    return 0;
}
