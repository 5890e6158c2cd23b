#include "os/reserved_ports.hpp"

namespace elvantris::operator_control {

// What Linux reserves it keeps from the ports that it chooses itself; a program gets them.
std::optional<std::vector<port_range>> reserved_port_ranges() {
    return std::vector<port_range>{};
}

} // namespace elvantris::operator_control
