#include "quorel/sideload/audio_route.h"

#include <ifaddrs.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <memory>

namespace quorel {

std::string ipv4AddressOfInterface(std::string_view name) {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) return {};
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> all(first, freeifaddrs);
    std::string address;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET || name != entry->ifa_name)
            continue;
        std::array<char, NI_MAXHOST> host{};
        if (getnameinfo(entry->ifa_addr, sizeof(sockaddr_in), host.data(), host.size(), nullptr, 0,
                        NI_NUMERICHOST) == 0) {
            address = host.data();
        }
    }
    return address;
}

}  // namespace quorel
