#include "rehearsal/own_servers.hpp"

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;
using simulator::server_options;
using simulator::simulated_server;

constexpr const char* any_address = "0.0.0.0";
constexpr const char* loopback = "127.0.0.1";

// Both are at the same address: only the web port tells them apart, and each is the other's peer.
server_options options_of(std::string_view letter, std::uint16_t port, std::uint16_t other_port,
                          own_addresses& own) {
    return {.serial = std::string(own_serial_beginning) + std::string(letter),
            .workstation = "Rehearsal server " + std::string(letter),
            .bind_address = any_address,
            .http_port = port,
            .peer_http_port = other_port,
            .answers = [&own](const simulator::endpoint& asker) {
                return own.contains(asker.address);
            }};
}

stage_server on_stage(simulated_server& server) {
    return {.serial = server.options().serial,
            .name = server.options().workstation,
            .control = [&server](const ordered_json& switches) { server.control(switches); }};
}

} // namespace

own_servers::own_servers(simulator::stop_signal& stop)
    : first_(options_of("A", 5000, 5001, addresses_), stop),
      second_(options_of("B", 5001, 5000, addresses_), stop),
      discovery_({&first_.state(), &second_.state()}, stop, any_address,
                 server_options().discovery_port),
      commands_(any_address, server_options().control_port, stop,
                [this](simulator::received_message message) {
                    routed_.add(simulator::transport::udp, std::move(message));
                }),
      device_(received_, stop, loopback, device_port) {}

stage_setup own_servers::setup() {
    return {.servers = {on_stage(first_), on_stage(second_)},
            .device_place = std::string(loopback) + ", port " + std::to_string(device_port),
            .commands_note = "Here both have one address, so the list can't tell Main from Backup.",
            .device = [this] { return received_.report(); },
            .commands = [this] { return routed_.report(); },
            .forget =
                [this] {
                    received_.clear();
                    routed_.clear();
                }};
}

} // namespace elvantris::rehearsal
