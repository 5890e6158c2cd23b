#include "os/network_interfaces.hpp"

#include "os/windows/wide_text.hpp"

#include <cstddef>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

namespace elvantris::operator_control {

std::optional<std::vector<interface_address>> list_interface_addresses() {
    constexpr ULONG flags =
        GAA_FLAG_SKIP_ANYCAST | GAA_FLAG_SKIP_MULTICAST | GAA_FLAG_SKIP_DNS_SERVER;
    ULONG size = 16384;
    std::vector<std::byte> buffer(size);
    const auto ask = [&] {
        buffer.resize(size);
        return ::GetAdaptersAddresses(
            AF_INET, flags, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.data()), &size);
    };
    ULONG result = ask();
    if (result == ERROR_BUFFER_OVERFLOW) result = ask();
    if (result != NO_ERROR) return std::nullopt;

    std::vector<interface_address> addresses;
    const auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.data());
    for (; adapter != nullptr; adapter = adapter->Next) {
        const auto* unicast = adapter->FirstUnicastAddress;
        for (; unicast != nullptr; unicast = unicast->Next) {
            if (unicast->Address.lpSockaddr->sa_family != AF_INET) continue;
            const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(unicast->Address.lpSockaddr);
            addresses.push_back({.up = adapter->OperStatus == IfOperStatusUp,
                                 .loopback = adapter->IfType == IF_TYPE_SOFTWARE_LOOPBACK,
                                 .address = ::ntohl(ipv4->sin_addr.s_addr),
                                 .prefix_length = unicast->OnLinkPrefixLength,
                                 .name = to_utf8(adapter->FriendlyName)});
        }
    }
    return addresses;
}

} // namespace elvantris::operator_control
