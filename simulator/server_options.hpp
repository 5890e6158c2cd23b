// What a simulated server is called, and where it can be reached.
#pragma once

#include "sockets.hpp"

#include <cstdint>
#include <functional>
#include <string>

namespace elvantris::simulator {

struct server_options {
    std::string serial = "SIM-0001";
    std::string workstation = "Simulated Server";
    // Broadcasts do not reach a socket that is bound to one address.
    std::string bind_address = "0.0.0.0";
    std::uint16_t http_port = 5000;
    std::uint16_t simulator_port = 5999;
    std::uint16_t discovery_port = 1255;
    std::uint16_t control_port = 1256;
    // Where a Main finds the web application of its Backup: at its own port, unless named.
    std::uint16_t peer_http_port = 5000;
    // Whom it answers: for anybody else it isn't there. Called from any thread.
    std::function<bool(const endpoint&)> answers = [](const endpoint&) { return true; };
};

// The command line of the program. Throws argument_error.
server_options read_server_options(int count, char** values);

} // namespace elvantris::simulator
