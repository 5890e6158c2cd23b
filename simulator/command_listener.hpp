// Takes the commands that workstations route to this server, and keeps them for the control call.
#pragma once

#include "server_state.hpp"
#include "sockets.hpp"

#include <thread>

namespace elvantris::simulator {

class command_listener {
public:
    // Opens the port. Throws port_error. Runs until the signal is raised.
    command_listener(server_state& state, stop_signal& stop);
    ~command_listener();
    command_listener(const command_listener&) = delete;
    command_listener& operator=(const command_listener&) = delete;
    command_listener(command_listener&&) = delete;
    command_listener& operator=(command_listener&&) = delete;

private:
    void run();

    server_state& state_;
    stop_signal& stop_;
    socket_handle socket_;
    std::thread thread_;
};

} // namespace elvantris::simulator
