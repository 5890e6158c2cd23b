// What a rehearsal puts around the program: two simulated servers on this computer, and a device
// that takes its outbound commands.
//
// Programs on other computers get no answer from the servers, and the device is on loopback.
// Threads: any.
#pragma once

#include "rehearsal/own_addresses.hpp"
#include "rehearsal/troubles.hpp"

#include "command_listener.hpp"
#include "device_ports.hpp"
#include "discovery_responder.hpp"
#include "simulated_server.hpp"

#include <array>
#include <mutex>

namespace elvantris::rehearsal {

// The serials of servers that a rehearsal makes begin so.
inline constexpr std::string_view serial_beginning = "REHEARSAL-";
inline constexpr std::uint16_t device_port = 7000;

class stage {
public:
    // Opens all ports. Throws port_error.
    explicit stage(simulator::stop_signal& stop);

    // False: there is no such server or trouble.
    bool change(std::string_view serial, std::string_view trouble, bool on);
    void heal_all();

    // [{"serial","name","address","outputs","troubles":[{"name","words","on"}]}]
    nlohmann::ordered_json report_servers() const;
    // What the device has received, and what has come to the one command port that both servers
    // share; the latest first.
    nlohmann::ordered_json report_device() const;
    nlohmann::ordered_json report_commands() const;
    void forget_commands();

private:
    struct server {
        explicit server(const simulator::server_options& options, simulator::stop_signal& stop)
            : simulated(options, stop) {}

        simulator::simulated_server simulated;
        trouble_set troubles;
    };

    void apply(server& changed);

    own_addresses own_;
    mutable std::mutex mutex_; // guards the troubles
    std::array<server, 2> servers_;
    simulator::received_messages routed_;
    simulator::received_messages received_;
    const simulator::discovery_responder discovery_;
    const simulator::command_listener commands_;
    const simulator::device_ports device_;
};

} // namespace elvantris::rehearsal
