// Finding the servers: one short broadcast, and everybody who answers until the network is silent.
#pragma once

#include "os/call_limits.hpp"
#include "os/network_interfaces.hpp"
#include "systems/system_record.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace elvantris::operator_control {

// The limited broadcast address and each usable interface's directed one, without repeats, in
// host byte order. An absent list (the system refuses to tell) gives the first alone. Pure.
std::vector<std::uint32_t>
broadcast_targets(const std::optional<std::vector<interface_address>>& interfaces);

// One datagram as an answer; absent if it is none. `sender` is in host byte order. Pure.
std::optional<discovered_server> parse_discovery_reply(std::string_view datagram,
                                                       std::uint32_t sender);

// The serials that are known before a round begins.
using known_serials = std::unordered_set<std::string>;

// The servers of one round. A server that answers on several interfaces counts once, with its
// first answer.
//
// A round keeps the known servers and up to `most_unknown` others. If more answer, servers of the
// addresses with the most servers are dropped, so that one flooding host can't displace a real
// server elsewhere.
class discovery_round {
public:
    static constexpr std::size_t most_unknown = 1024;

    explicit discovery_round(known_serials known = {}) : known_(std::move(known)) {}

    void add(discovered_server server);
    // In the order of arrival.
    std::vector<discovered_server> take();

private:
    using arrival = std::uint64_t;
    bool make_room_for(const std::string& address);
    void drop_one_of_the_most_crowded();

    known_serials known_;
    std::unordered_set<std::string> seen_; // the keys of `servers_`
    std::map<arrival, discovered_server> servers_;
    arrival next_ = 0;
    std::unordered_map<std::string, std::vector<arrival>> unknown_at_; // by address
    std::size_t unknown_ = 0;
    std::size_t most_at_one_address_ = 0;
};

// One round, in the order of arrival. It lasts until nothing has come for `silence`, and 15 seconds
// or the limits at most, so that a flood can't block its caller for ever.
//
// Threads: any; each round has its own socket and port.
// Failure: throws std::runtime_error with a fixed text if the round can't begin. Afterwards
//   nothing fails; a network on which nobody answers gives an empty list.
std::vector<discovered_server> discover_servers(milliseconds silence, known_serials known = {},
                                                const call_limits& limits = {});

// The same round, for who wants to see where each server answers: one that answers from several
// addresses is there several times. At most 256 answers are kept.
std::vector<discovered_server> discover_answers(milliseconds silence,
                                                const call_limits& limits = {});

} // namespace elvantris::operator_control
