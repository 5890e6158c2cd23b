// Finding the servers: one short broadcast, and everybody who answers until the network is silent.
#pragma once

#include "os/network_interfaces.hpp"
#include "os/sockets.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// The limited broadcast address and each usable interface's directed one, without repeats, in
// host byte order. An absent list (the system refuses to tell) gives the first alone. Pure.
std::vector<std::uint32_t>
broadcast_targets(const std::optional<std::vector<interface_address>>& interfaces);

// One datagram as an answer; absent if it is none. `sender` is in host byte order. Pure.
std::optional<discovered_server> parse_discovery_reply(std::string_view datagram,
                                                       std::uint32_t sender);

// The servers of one round. A server that answers on several interfaces counts once, with its
// first answer.
class discovery_round {
public:
    void add(discovered_server server);
    std::vector<discovered_server> take() { return std::move(servers_); }

private:
    std::set<std::string> seen_;
    std::vector<discovered_server> servers_;
};

// One round, in the order of arrival. It lasts until nothing has come for `silence`, and 15 seconds
// at most, so that a flood can't hold its caller for good.
//
// Threads: any; each round has its own socket and port.
// Failure: throws std::runtime_error with a fixed text if the round can't begin. Afterwards
//   nothing fails; a network on which nobody answers gives an empty list.
std::vector<discovered_server> discover_servers(milliseconds silence);

} // namespace elvantris::operator_control
