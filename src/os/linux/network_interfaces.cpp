#include "os/network_interfaces.hpp"

#include <arpa/inet.h>
#include <bit>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace elvantris::operator_control {
namespace {

std::uint32_t host_order(const sockaddr* address) {
    return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

} // namespace

std::optional<std::vector<interface_address>> list_interface_addresses() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return std::nullopt;
    std::vector<interface_address> addresses;
    for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
        const std::uint32_t mask =
            entry->ifa_netmask != nullptr ? host_order(entry->ifa_netmask) : 0xFFFFFFFFU;
        addresses.push_back({.up = (entry->ifa_flags & IFF_UP) != 0,
                             .loopback = (entry->ifa_flags & IFF_LOOPBACK) != 0,
                             .address = host_order(entry->ifa_addr),
                             .prefix_length = static_cast<std::uint32_t>(std::popcount(mask)),
                             .name = entry->ifa_name});
    }
    ::freeifaddrs(first);
    return addresses;
}

} // namespace elvantris::operator_control
