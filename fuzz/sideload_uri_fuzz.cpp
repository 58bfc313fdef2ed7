// A playlist's address and a URI in it: the short way and the long way of resolving give the same, and a URL.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"
#include "quorel/sideload/master_playlist_parser.h"
#include "quorel/sideload/variant_playlist_parser.h"

using namespace quorel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find('\n'), text.size());
    auto base = URL::parse(text.substr(0, end));
    if (!base) base = URL::parse("https://cdn.example/a/b.m3u8?c=d");
    const std::string_view uri = trimmedWhitespaceAndNewlines(text.substr(std::min(end + 1, text.size())));
    const auto variant = VariantPlaylistParser::make(*base);
    const auto resolved = variant->resolveURI(uri);
    if (resolved && URL::parseStrict(resolved->absoluteString()) != resolved) fatal("what was resolved is no URL");
    if (uri.empty() || uri.starts_with('#') || uri.find('\n') != std::string_view::npos) return 0;
    if (!variant->accept("#EXTM3U\n" + std::string(uri))) return 0;
    variant->rewrite();
    const std::string expected = resolved ? "#EXTM3U\n" + resolved->absoluteString() : "#EXTM3U";
    if (*variant->manifestData() != expected) fatal("not " + expected + " but " + *variant->manifestData());

    const auto master = MasterPlaylistParser::make(*base);
    if (!master->accept("#EXTM3U\n#EXT-X-STREAM-INF:A=1\n" + std::string(uri))) return 0;
    const std::string moved = resolved ? "variantm3u8://" + resolved->absoluteString() : std::string(uri);
    if (!master->rewrite({}).ends_with("\n" + moved)) fatal("the variant did not move to " + moved);
    return 0;
}
