// Takes the commands that workstations route to this host. They don't say which server is meant.
#pragma once

#include "received_bytes.hpp"
#include "sockets.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace elvantris::simulator {

class command_listener {
public:
    // Runs on the listener's own thread.
    using take_command = std::function<void(received_message)>;

    // Opens the port. Throws port_error. Runs until the signal is raised.
    command_listener(const std::string& address, std::uint16_t port, stop_signal& stop,
                     take_command take);
    ~command_listener();
    command_listener(const command_listener&) = delete;
    command_listener& operator=(const command_listener&) = delete;
    command_listener(command_listener&&) = delete;
    command_listener& operator=(command_listener&&) = delete;

private:
    void run();

    const take_command take_;
    stop_signal& stop_;
    socket_handle socket_;
    std::thread thread_;
};

} // namespace elvantris::simulator
