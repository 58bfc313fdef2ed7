// Private to this room. What a playlist becomes on its way through the gateway: every address in it absolute.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engines/gstreamer/subtitle_renditions.h"
#include "quorel/foundation/url.h"

namespace quorel::gstreamer {

enum class ResourceKind { playlist, key, initialisation, media };

// Gives the address under which the gateway offers a resource.
using GatewayAddress = std::function<std::string(const std::string& uri, ResourceKind kind)>;

struct RewrittenPlaylist {
    std::string text;
    std::vector<SubtitleRendition> renditions;
};

// Playlists, keys, initialisation sections that are a file of their own, and whatever has a private scheme go by the
// gateway; segments are loaded from where they are. (An initialisation section whose connection is lost half-way, and
// which the demuxer of GStreamer 1.22 then loads again, ends the process.) Renditions of subtitles are taken out, and so are playlists of key frames, which nobody plays:
// the demuxer would fail if one was missing. Absent for a text that is no playlist. `base` is where it came from
// (RFC 8216 4.1).
std::optional<RewrittenPlaylist> rewritePlaylist(std::string_view text, const URL& base,
                                                 const GatewayAddress& address);

// Whether an address is for the network: "http" or "https".
bool goesOverHttp(std::string_view uri);

}  // namespace quorel::gstreamer
