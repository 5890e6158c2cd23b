// Which servers receive a command, and its way there as one datagram each.
//
// A shared function goes to Main and to Main's Backup, any other to Main alone. Roles and `online`
// decide; which server is active does not. The payload is never looked into, nothing is repeated
// and nothing is awaited: "sent" says that the local socket took the whole datagram.
//
// Threads: any. The deliveries of one call run side by side, and the call returns when all ended.
// Failure: told by the deliveries; a command that nobody could be sent has none.
#pragma once

#include "systems/controller_registry.hpp"
#include "systems/system_record.hpp"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct delivery_result {
    system_role role = system_role::independent; // of the server that was addressed
    bool attempted = false;
    bool sent = false;
    std::string error; // empty unless something went wrong
};

struct fanout_result {
    std::uint64_t sequence = 0; // counts every call since the start, also those without a target
    std::string payload;
    std::vector<delivery_result> deliveries; // Main's first
};

struct delivery_target {
    system_role role = system_role::independent;
    std::string address;
    std::uint16_t control_port = operator_control::control_port;
    std::uint16_t web_port = 5000;
    std::string workstation;
    std::string serial;
    bool enabled = true;
};

class command_router {
public:
    explicit command_router(const controller_registry& registry) : registry_(registry) {}

    // An empty `target_serial` means the configured Main.
    fanout_result route_streamdeck(std::int32_t function_id, const std::string& target_serial,
                                   const std::string& payload);

private:
    const controller_registry& registry_;
    std::atomic<std::uint64_t> sequence_{0};
};

// One datagram from a fresh port. Host names are not resolved.
delivery_result udp_send_command(const delivery_target& target, const std::string& payload);

} // namespace elvantris::operator_control
