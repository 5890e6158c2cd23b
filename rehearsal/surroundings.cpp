#include "rehearsal/surroundings.hpp"

#include "rehearsal/own_servers.hpp"

#include "systems/discovery.hpp"

#include <algorithm>

namespace elvantris::rehearsal {

namespace {

using operator_control::discovered_server;
using operator_control::interface_address;

// The time for which the program waits for answers in each round.
constexpr std::chrono::milliseconds silence{500};

// The program takes no answer from a loopback address.
bool has_address() {
    const auto all = operator_control::list_interface_addresses();
    return all && std::ranges::any_of(*all, [](const interface_address& each) {
               return each.up && !each.loopback;
           });
}

} // namespace

std::string why_not_here() {
    if (!has_address())
        return "This computer is on no network, and Redundancy Control finds servers by the "
               "network "
               "alone. Join one without media servers, any Wi-Fi for example, and start again.";
    const std::vector<discovered_server> servers = operator_control::discover_servers(silence);
    if (servers.empty()) return "";
    const discovered_server& first = servers.front();
    if (first.serial.starts_with(own_serial_beginning))
        return "A rehearsal is running on this computer already.";
    return "A media server answers on this network: " + first.workstation + " (" + first.serial +
           ") at " + first.address +
           ". A rehearsal would mix with it. Take this computer off that network, and start again.";
}

} // namespace elvantris::rehearsal
