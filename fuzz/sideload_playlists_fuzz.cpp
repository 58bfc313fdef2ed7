// Any playlist through both rewriters: no line is lost or made without a reason, and a second pass changes no URI.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/variant_playlist_parser.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = "#EXTM3U\n" + std::string(reinterpret_cast<const char*>(data), size);
    const URL base = *URL::parse("https://cdn.example/a/b.m3u8?token=c");
    const auto lines = [](const std::string& playlist) {
        return std::count(playlist.begin(), playlist.end(), '\n');
    };

    const auto master = MasterPlaylistParser::make(base);
    if (!master->accept(text)) return 0;
    const MasterPlaylistParser::Subtitles tracks{
        std::make_shared<TextTrackDescription>("https://s.example/a.srt", "pt", true, TextTrackKind::subtitles,
                                               "Pt"),
        std::make_shared<TextTrackDescription>("https://s.example/b.srt", "en", true, TextTrackKind::subtitles),
    };
    const std::string rewritten = master->rewrite(tracks);
    if (lines(rewritten) != lines(text) + 1) fatal("a master gains one line for each track with a label");
    if (rewritten.find("URI=\"subtitlesm3u8://https://s.example/a.srt\"") == std::string::npos) fatal("no row");

    const auto variant = VariantPlaylistParser::make(base);
    variant->accept(text);
    variant->rewrite();
    const std::string playlist = *variant->manifestData();
    if (lines(playlist) > lines(text) || playlist.find("\n\n") != std::string::npos)
        fatal("a variant gained lines");
    if (!(variant->totalPlayListDuration() >= 0)) fatal("durations add up to nothing");
    return 0;
}
