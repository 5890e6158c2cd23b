#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

// One IPv4 unicast address of one network interface.
struct interface_address {
    bool up = false;
    bool loopback = false;
    std::uint32_t address = 0;       // host byte order
    std::uint32_t prefix_length = 0; // bits of the network part
    std::string name = {};           // as the system shows it
};

// All interfaces of the machine, in the system's order. Absent if the system refuses to tell.
// Threads: any. Each call asks again, as cables and addresses change during a show.
std::optional<std::vector<interface_address>> list_interface_addresses();

} // namespace elvantris::operator_control
