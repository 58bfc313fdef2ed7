#include "quorel/foundation/device_util.h"

#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <memory>

namespace quorel {

std::optional<std::string> DeviceUtil::ipv4Address(std::string_view interface) {
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return std::nullopt;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(list, freeifaddrs);
    std::optional<std::string> address;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        if (interface != entry->ifa_name) continue;
        std::array<char, NI_MAXHOST> host{};
        const int failure = getnameinfo(entry->ifa_addr, sizeof(sockaddr_in), host.data(), host.size(), nullptr, 0,
                                        NI_NUMERICHOST);
        if (failure == 0) address = host.data();
    }
    return address;
}

}  // namespace quorel
