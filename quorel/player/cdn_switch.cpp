#include "quorel/player/cdn_switch.h"

#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"

namespace quorel {
namespace {

constexpr std::string_view scheme = "https://";

// No address is ever found to be on a CDN of another form, so that a switch to it would repeat itself without end.
bool isSchemeAndHost(std::string_view cdn) {
    return cdn.starts_with(scheme) && cdn.size() > scheme.size() && cdn.find('/', scheme.size()) == cdn.npos;
}

}  // namespace

std::optional<std::string> hlsOnCDN(std::string_view hls, std::string_view cdn) {
    const std::string rest = replacingAll(hls, scheme, "");
    const auto pieces = split(rest, '/', 1, EmptyPieces::drop);
    if (pieces.empty()) fatal("a stream's address without a host cannot change its CDN");
    const std::string current = std::string(scheme).append(pieces.front());
    if (current == cdn || !isSchemeAndHost(cdn)) return std::nullopt;
    return std::string(cdn) + replacingAll(hls, current, "");
}

}  // namespace quorel
