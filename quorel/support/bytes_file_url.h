// Private to this room: from file URLs to paths.
#pragma once

#include <optional>
#include <string>

#include "quorel/foundation/text.h"
#include "quorel/foundation/url.h"

namespace quorel {

// RFC 8089: on this host. Absent for every other URL.
inline std::optional<std::string> filePath(const URL& url) {
    const std::string host = url.host().value_or("");
    if (!asciiEqualsIgnoringCase(url.scheme().value_or(""), "file") || !(host.empty() || host == "localhost"))
        return std::nullopt;
    return url.path();
}

}  // namespace quorel
