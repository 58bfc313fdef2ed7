// The same stream on another content delivery network. A pure function; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quorel/player/export.h"

namespace quorel {

// The address `hls` with its scheme and host replaced by `cdn` ("https://" and a host); absent when it is there
// already, and when `cdn` has another form. Hosts are compared as text, and only "https://" counts as a scheme.
// Deliberately stops the process for an address in which nothing but slashes follows the scheme.
QUOREL_PLAYER_API std::optional<std::string> hlsOnCDN(std::string_view hls, std::string_view cdn);

}  // namespace quorel
