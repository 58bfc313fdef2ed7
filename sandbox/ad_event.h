// One tracking request that arrived at the sandbox's ad server. A value.
#pragma once

#include <optional>
#include <string>

#include "quorel/foundation/json_coding.h"

namespace quorel::sandbox {

struct AdEvent {
    double received = 0;              // seconds since 1970
    std::string ad;                   // whose it is: an ad, a wrapper or a break
    std::string event;                // "impression", "start", "firstQuartile", ...
    std::optional<std::string> code;  // of an "error"

    QUOREL_JSON_FIELDS(AdEvent, received, ad, event, code)
    bool operator==(const AdEvent&) const = default;
};

}  // namespace quorel::sandbox
