// Two simulated servers on this computer, and a device that takes the program's outbound commands.
//
// Programs on other computers get no answer from the servers, and the device is on loopback.
#pragma once

#include "rehearsal/own_addresses.hpp"
#include "rehearsal/stage.hpp"

#include "command_listener.hpp"
#include "device_ports.hpp"
#include "discovery_responder.hpp"
#include "simulated_server.hpp"

namespace elvantris::rehearsal {

// The beginning of these servers' serial numbers.
inline constexpr std::string_view own_serial_beginning = "REHEARSAL-";

class own_servers {
public:
    // Opens all ports. Throws port_error.
    explicit own_servers(simulator::stop_signal& stop);

    // Don't use it after this object is destroyed.
    stage_setup setup();

private:
    own_addresses addresses_;
    simulator::simulated_server first_;
    simulator::simulated_server second_;
    simulator::received_messages routed_;
    simulator::received_messages received_;
    const simulator::discovery_responder discovery_;
    const simulator::command_listener commands_;
    const simulator::device_ports device_;
};

} // namespace elvantris::rehearsal
