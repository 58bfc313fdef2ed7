// Private to this room. What a playlist becomes on its way through the gateway: every address in it absolute.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/url.h"

namespace quorel::gstreamer {

enum class ResourceKind { playlist, key };

// Gives the address under which the gateway offers a playlist or a key.
using GatewayAddress = std::function<std::string(const URL& url, ResourceKind kind)>;

// Playlists and keys go by the gateway; segments and initialisation sections are loaded from where they are.
// Renditions of subtitles are left out, and so are playlists of key frames, which nobody plays: the demuxer would
// fail if one was missing. Absent for a text that is no playlist. `base` is where it came from (RFC 8216 4.1).
std::optional<std::string> rewritePlaylist(std::string_view text, const URL& base, const GatewayAddress& address);

}  // namespace quorel::gstreamer
