// Times the rewriting of playlists, in this process, beside the least that any rewriting has to do.
//
//   sideload_bench make SEGMENTS KIND > playlist.m3u8     (KIND: plain, tokens, or parts)
//   sideload_bench speed [--quick]
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "benchmarks/measuring.h"
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

// Both get the playlist as the network gives it, in memory of its own; the SDK checks that it is one.
template <class Rewrite>
void measureRewrite(const std::string& name, const std::string& text, Rewrite rewrite) {
    std::string copy(text.size(), ' ');
    bench::Task(name, text.size())
        .sdk("check and rewrite", [&] { return rewrite(std::string(text)); })
        .limit("a bare one-pass rewrite", [&] { return bareRewrite(std::string(text)).size(); })
        .limit("memory: memcpy", [&] { return std::memcpy(copy.data(), text.data(), text.size()) != nullptr; });
}

std::size_t rewriteVariant(std::string text) {
    const auto parser = VariantPlaylistParser::make(*URL::parse(manifest));
    if (!parser->accept(std::move(text))) fatal("no playlist");
    parser->rewrite();
    return parser->manifestData()->size();
}

std::size_t rewriteMaster(std::string text) {
    const auto parser = MasterPlaylistParser::make(*URL::parse(manifest));
    if (!parser->accept(std::move(text))) fatal("no playlist");
    return parser->rewrite({}).size();
}

void measure() {
    measureRewrite("rewrite a playlist, 50,000 segments", variant(50'000, "plain"), rewriteVariant);
    measureRewrite("rewrite a playlist, 500,000 segments", variant(500'000, "plain"), rewriteVariant);
    measureRewrite("rewrite a live playlist, 1,000 segments", variant(1'000, "plain"), rewriteVariant);
    measureRewrite("rewrite URIs with tokens, 50,000 segments", variant(50'000, "tokens"), rewriteVariant);
    measureRewrite("rewrite a playlist with parts, 50,000 segments", variant(50'000, "parts"), rewriteVariant);
    measureRewrite("rewrite a master of 1,000 variants", master(1'000), rewriteMaster);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    bench::Pace::setBy(argc, argv);
    if (command == "make" && argc == 4) {
        const std::string text = variant(std::stoi(argv[2]), argv[3]);
        std::fwrite(text.data(), 1, text.size(), stdout);
    } else if (command == "speed") {
        measure();
    } else {
        std::fprintf(stderr, "usage: sideload_bench make SEGMENTS KIND | speed [--quick]\n");
        return 2;
    }
    return 0;
}
