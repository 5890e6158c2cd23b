#include "systems/discovery.hpp"

#include "os/clock.hpp"
#include "os/sockets.hpp"
#include "text/scanning.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::uint16_t discovery_port = 1255;
constexpr std::string_view question = "elvantris-server?";
constexpr std::string_view reply_text = "elvantris-server!";
constexpr std::size_t longest_reply = 2047;
constexpr std::chrono::seconds longest_round{15};
constexpr std::size_t most_late_replies = 2048;
constexpr std::size_t most_answers = 256;

bool is_loopback(std::uint32_t address) {
    return address >> 24U == 127;
}

// The fields between single commas; an empty one behind a trailing comma doesn't count.
std::vector<std::string_view> split_at_commas(std::string_view text) {
    std::vector<std::string_view> fields;
    while (!text.empty()) {
        const std::size_t comma = std::min(text.find(','), text.size());
        fields.push_back(text.substr(0, comma));
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return fields;
}

std::string key_of(const discovered_server& server) {
    return server.serial.empty() ? server.address + ':' + std::to_string(server.webPort)
                                 : server.serial;
}

void broadcast_request(const socket_handle& socket) {
    for (const std::uint32_t target : broadcast_targets(list_interface_addresses()))
        if (const auto to = ipv4_address(dotted_text(target), discovery_port))
            send_datagram(socket, *to, question);
}

template<typename listener>
void ask_and_listen(milliseconds silence, const call_limits& limits, const listener& take) {
    const socket_runtime runtime;
    if (!runtime.started()) throw std::runtime_error("WSAStartup failed");
    const broadcast_socket opened = open_broadcast_socket();
    switch (opened.failure) {
    case broadcast_failure::none:
        break;
    case broadcast_failure::not_created:
        throw std::runtime_error("Unable to create discovery socket");
    case broadcast_failure::not_bound:
        throw std::runtime_error("Unable to bind discovery socket");
    }

    broadcast_request(opened.socket);
    std::array<char, longest_reply> buffer{};
    const call_limits round_limits = limits.within(longest_round);
    // The caller's `given_up` may have taken longer than the round lasts. Replies that arrived
    // meanwhile are still read, or all servers would look silent.
    for (std::size_t late = 0; late < most_late_replies && !round_limits.is_given_up();) {
        if (round_limits.over()) ++late;
        const auto datagram = receive_datagram(opened.socket, buffer, silence, round_limits);
        if (!datagram || datagram->size == 0) break;
        if (!datagram->sender) continue;
        if (auto server = parse_discovery_reply({buffer.data(), datagram->size}, *datagram->sender))
            take(std::move(*server));
    }
}

} // namespace

std::vector<std::uint32_t>
broadcast_targets(const std::optional<std::vector<interface_address>>& interfaces) {
    std::vector<std::uint32_t> targets{0xFFFFFFFFU};
    if (!interfaces) return targets;
    for (const interface_address& entry : *interfaces) {
        if (!entry.up || entry.loopback || entry.prefix_length > 32) continue;
        const std::uint32_t host_bits =
            entry.prefix_length == 32 ? 0 : 0xFFFFFFFFU >> entry.prefix_length;
        const std::uint32_t target = entry.address | host_bits;
        if (std::ranges::find(targets, target) == targets.end()) targets.push_back(target);
    }
    return targets;
}

std::optional<discovered_server> parse_discovery_reply(std::string_view datagram,
                                                       std::uint32_t sender) {
    if (!datagram.starts_with(reply_text) || is_loopback(sender)) return std::nullopt;
    const std::vector<std::string_view> fields = split_at_commas(datagram);
    if (fields.size() < 2) return std::nullopt;
    const auto port = parse_integer<std::uint32_t>(fields[1]);
    if (!port || port->overflowed) return std::nullopt;

    discovered_server server;
    server.address = dotted_text(sender);
    if (server.address.empty()) return std::nullopt;
    server.webPort = static_cast<std::uint16_t>(port->value);
    if (fields.size() > 2) server.workstation = fields[2];
    if (fields.size() > 3) server.serial = fields[3];
    return server;
}

void discovery_round::add(discovered_server server) {
    const std::string key = key_of(server);
    if (seen_.contains(key)) return;
    if (!known_.contains(server.serial)) {
        if (!make_room_for(server.address)) return;
        std::vector<arrival>& here = unknown_at_[server.address];
        here.push_back(next_);
        ++unknown_;
        most_at_one_address_ = std::max(most_at_one_address_, here.size());
    }
    seen_.insert(key);
    servers_.emplace(next_++, std::move(server));
}

bool discovery_round::make_room_for(const std::string& address) {
    if (unknown_ < most_unknown) return true;
    const auto here = unknown_at_.find(address);
    const std::size_t servers_here = here == unknown_at_.end() ? 0 : here->second.size();
    if (servers_here + 1 >= most_at_one_address_) return false;
    drop_one_of_the_most_crowded();
    return true;
}

void discovery_round::drop_one_of_the_most_crowded() {
    const auto crowded = std::ranges::max_element(
        unknown_at_, {}, [](const auto& address) { return address.second.size(); });
    const auto last = servers_.find(crowded->second.back());
    seen_.erase(key_of(last->second));
    servers_.erase(last);
    crowded->second.pop_back();
    --unknown_;
    most_at_one_address_ = 0;
    for (const auto& [address, arrivals] : unknown_at_)
        most_at_one_address_ = std::max(most_at_one_address_, arrivals.size());
}

std::vector<discovered_server> discovery_round::take() {
    std::vector<discovered_server> all;
    all.reserve(servers_.size());
    for (auto& [arrived, server] : servers_)
        all.push_back(std::move(server));
    return all;
}

std::vector<discovered_server> discover_servers(milliseconds silence, known_serials known,
                                                const call_limits& limits) {
    discovery_round round(std::move(known));
    ask_and_listen(silence, limits,
                   [&](discovered_server server) { round.add(std::move(server)); });
    return round.take();
}

std::vector<discovered_server> discover_answers(milliseconds silence, const call_limits& limits) {
    std::vector<discovered_server> answers;
    ask_and_listen(silence, limits, [&](discovered_server server) {
        const bool is_new = std::ranges::none_of(answers, [&](const discovered_server& known) {
            return known.address == server.address && known.serial == server.serial &&
                   known.webPort == server.webPort;
        });
        if (is_new && answers.size() < most_answers) answers.push_back(std::move(server));
    });
    return answers;
}

} // namespace elvantris::operator_control
