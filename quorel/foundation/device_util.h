// What the machine knows of itself.
//
// Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "quorel/foundation/export.h"

namespace quorel {

struct QUOREL_FOUNDATION_API DeviceUtil {
    // The interface that is the Wi-Fi on the devices that this SDK grew up on. Few other machines have one of that
    // name; what asks has to do without.
    static constexpr std::string_view wifiInterface = "en0";

    // The IPv4 address of the interface in numbers, as "192.0.2.7": of several the one listed last. Absent when it
    // has none, and when the list of interfaces cannot be had.
    static std::optional<std::string> ipv4Address(std::string_view interface = wifiInterface);
};

}  // namespace quorel
