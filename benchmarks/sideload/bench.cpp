// Times the rewriting of playlists, in this process, beside the least that any rewriting has to do.
//
//   sideload_bench make SEGMENTS KIND > playlist.m3u8     (KIND: plain, tokens, or parts)
//   sideload_bench speed                                  prints the figures as JSON
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/variant_playlist_parser.h"

namespace {

using namespace quorel;

const std::string manifest = "https://cdn.example/vod/film-1/720p/index.m3u8";
const std::string directory = "https://cdn.example/vod/film-1/720p/";

std::string padded(int number) {
    std::string digits = std::to_string(number);
    return std::string(8 - std::min<std::size_t>(8, digits.size()), '0') + digits;
}

// 74 bytes a segment, as long packagers' names make them; with tokens or with the tags of low latency on demand.
std::string variant(int segments, std::string_view kind) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:6\n#EXT-X-TARGETDURATION:6\n#EXT-X-MEDIA-SEQUENCE:0\n";
    for (int i = 0; i < segments; ++i) {
        text += "#EXTINF:6.006,\n";
        if (kind == "tokens") {
            text += "segment_" + padded(i) + ".ts?exp=1767225600&sig=ab%2Bc" + padded(i) + "==\n";
        } else if (kind == "parts") {
            text += "#EXT-X-PART:DURATION=1.001,URI=\"part_" + padded(i) + ".mp4\",INDEPENDENT=YES\n";
            text += "segment_" + padded(i) + ".mp4\n";
        } else {
            text += "audio-video-1280x720-3500k-stereo-segment_" + padded(i) + ".m4s.mp4\n";
        }
    }
    return text + "#EXT-X-ENDLIST\n";
}

std::string master(int variants) {
    std::string text = "#EXTM3U\n";
    for (int i = 0; i < variants; ++i) {
        text += "#EXT-X-STREAM-INF:BANDWIDTH=" + std::to_string(800000 + i) +
                ",CODECS=\"avc1.4d401f,mp4a.40.2\",RESOLUTION=1280x720,AUDIO=\"aud\"\nvideo/" + padded(i) +
                ".m3u8\n";
    }
    return text;
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Milliseconds, the fastest of some rounds. `prepare` is not timed.
template <class Prepare, class Action>
double fastest(int rounds, Prepare prepare, Action action) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        auto subject = prepare();
        const double start = processorSeconds();
        action(subject);
        best = std::min(best, processorSeconds() - start);
    }
    return best * 1e3;
}

// Every URI behind a fixed text, and the comma of #EXTINF dropped: what no rewriting can do without.
std::string bareRewrite(std::string_view text) {
    std::string out;
    out.reserve(text.size() * 2);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty()) continue;
        if (line.front() != '#') out += directory;
        if (line.back() == ',') line.remove_suffix(1);
        out.append(line).append("\n");
    }
    return out;
}

double rewriteTime(const std::string& text, int rounds) {
    return fastest(
        rounds,
        [&] {
            auto parser = VariantPlaylistParser::make(*URL::parse(manifest));
            if (!parser->accept(text)) fatal("no playlist");
            return parser;
        },
        [](const auto& parser) { parser->rewrite(); });
}

std::map<std::string, double> speed() {
    std::map<std::string, double> figures;
    const std::string film = variant(50'000, "plain");
    figures["plain, 50,000 segments (MB)"] = static_cast<double>(film.size()) / 1e6;
    // A playlist as the network gives it: with the check that it is one.
    figures["plain, accept (ms)"] = fastest(
        20, [&] { return std::pair(VariantPlaylistParser::make(*URL::parse(manifest)), film); },
        [](auto& subject) { subject.first->accept(std::move(subject.second)); });
    figures["plain, 50,000 segments (ms)"] = rewriteTime(film, 20);
    std::size_t kept = 0;
    figures["bare one-pass rewrite, 50,000 segments (ms)"] = fastest(
        20, [&] { return 0; }, [&](int) { kept += bareRewrite(film).size(); });
    if (kept == 0) fatal("nothing was written");
    figures["plain, 5,000 segments (ms)"] = rewriteTime(variant(5'000, "plain"), 50);
    figures["plain, 500,000 segments (ms)"] = rewriteTime(variant(500'000, "plain"), 4);
    figures["tokens, 50,000 segments (ms)"] = rewriteTime(variant(50'000, "tokens"), 20);
    figures["parts, 50,000 segments (ms)"] = rewriteTime(variant(50'000, "parts"), 20);
    const std::string variants = master(1'000);
    figures["master, 1,000 variants (ms)"] = fastest(
        20,
        [&] {
            auto parser = MasterPlaylistParser::make(*URL::parse(manifest));
            if (!parser->accept(variants)) fatal("no playlist");
            return parser;
        },
        [](const auto& parser) { (void)parser->rewrite({}); });
    const std::string live = variant(1'000, "plain");
    figures["live playlist of 1,000 segments, first load (ms)"] = rewriteTime(live, 1);
    figures["live playlist of 1,000 segments, reload (ms)"] = rewriteTime(live, 1);
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "make" && argc == 4) {
        const std::string text = variant(std::stoi(argv[2]), argv[3]);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }
    if (command != "speed") {
        std::fprintf(stderr, "usage: sideload_bench make SEGMENTS KIND | speed\n");
        return 2;
    }
    std::printf("{");
    const char* separator = "";
    for (const auto& [name, value] : speed()) {
        std::printf("%s\n  \"%s\": %.4f", separator, name.c_str(), value);
        separator = ",";
    }
    std::printf("\n}\n");
    return 0;
}
