#include "os/listening_ports.hpp"

#include <algorithm>
#include <cstddef>
#include <span>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

namespace elvantris::operator_control {
namespace {

// Empty if the system refuses to tell. The table may grow between two calls.
std::vector<std::byte> listeners_of(ULONG family) {
    std::vector<std::byte> table;
    for (int tries = 0; tries < 4; ++tries) {
        auto size = static_cast<DWORD>(table.size());
        const DWORD result = ::GetExtendedTcpTable(table.empty() ? nullptr : table.data(), &size,
                                                   FALSE, family, TCP_TABLE_OWNER_PID_LISTENER, 0);
        if (result == NO_ERROR && !table.empty()) return table;
        if (result != ERROR_INSUFFICIENT_BUFFER) break;
        table.resize(size);
    }
    return {};
}

// The fields have the order of the network, in the lower half.
bool is_port(DWORD field, std::uint16_t port) {
    return ::ntohs(static_cast<u_short>(field)) == port;
}

bool concerns(const MIB_TCPROW_OWNER_PID& row, std::uint16_t port) {
    return is_port(row.dwLocalPort, port) &&
           (row.dwLocalAddr == INADDR_ANY || row.dwLocalAddr == ::htonl(INADDR_LOOPBACK));
}

bool concerns(const MIB_TCP6ROW_OWNER_PID& row, std::uint16_t port) {
    return is_port(row.dwLocalPort, port) &&
           std::ranges::all_of(row.ucLocalAddr, [](UCHAR byte) { return byte == 0; });
}

template<typename table>
bool add_listeners(ULONG family, std::uint16_t port, std::vector<running_program>& programs) {
    const std::vector<std::byte> bytes = listeners_of(family);
    if (bytes.empty()) return false;
    const auto& listeners = *reinterpret_cast<const table*>(bytes.data());
    for (const auto& row : std::span(listeners.table, listeners.dwNumEntries)) {
        const bool known = std::ranges::any_of(programs, [&](const running_program& program) {
            return program.process == row.dwOwningPid;
        });
        if (concerns(row, port) && !known) programs.push_back(describe_process(row.dwOwningPid));
    }
    return true;
}

} // namespace

std::optional<std::vector<running_program>> programs_listening_on(std::uint16_t port) {
    std::vector<running_program> programs;
    const bool told = add_listeners<MIB_TCPTABLE_OWNER_PID>(AF_INET, port, programs);
    // A computer may have no IPv6.
    add_listeners<MIB_TCP6TABLE_OWNER_PID>(AF_INET6, port, programs);
    if (!told) return std::nullopt;
    return programs;
}

} // namespace elvantris::operator_control
