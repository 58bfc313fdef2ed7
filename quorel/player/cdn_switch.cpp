#include "quorel/player/cdn_switch.h"

#include <vector>

#include "quorel/foundation/fatal.h"
#include "quorel/foundation/text.h"

namespace quorel {

std::optional<std::string> hlsOnCDN(std::string_view hls, std::string_view cdn) {
    const std::string rest = replacingAll(hls, "https://", "");
    const auto pieces = split(rest, '/', 1, EmptyPieces::drop);
    if (pieces.empty()) fatal("a stream's address without a host cannot change its CDN");
    const std::string current = "https://" + std::string(pieces.front());
    if (current == cdn) return std::nullopt;
    return std::string(cdn) + replacingAll(hls, current, "");
}

}  // namespace quorel
