// Takes the commands that workstations route to this host's servers. A command doesn't say which of
// them is meant: each keeps it.
#pragma once

#include "server_state.hpp"
#include "sockets.hpp"

#include <string>
#include <thread>
#include <vector>

namespace elvantris::simulator {

class command_listener {
public:
    // Opens the port. Throws port_error. Runs until the signal is raised.
    command_listener(std::vector<server_state*> servers, stop_signal& stop,
                     const std::string& address, std::uint16_t port);
    ~command_listener();
    command_listener(const command_listener&) = delete;
    command_listener& operator=(const command_listener&) = delete;
    command_listener(command_listener&&) = delete;
    command_listener& operator=(command_listener&&) = delete;

private:
    void run();

    const std::vector<server_state*> servers_;
    stop_signal& stop_;
    socket_handle socket_;
    std::thread thread_;
};

} // namespace elvantris::simulator
