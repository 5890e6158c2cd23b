// Answers the workstations' search for servers.
#pragma once

#include "discovery_flood.hpp"
#include "server_state.hpp"
#include "sockets.hpp"

#include <thread>

namespace elvantris::simulator {

class discovery_responder {
public:
    // Opens the port. Throws port_error. Runs until the signal is raised.
    discovery_responder(server_state& state, stop_signal& stop);
    ~discovery_responder();
    discovery_responder(const discovery_responder&) = delete;
    discovery_responder& operator=(const discovery_responder&) = delete;
    discovery_responder(discovery_responder&&) = delete;
    discovery_responder& operator=(discovery_responder&&) = delete;

private:
    void run();
    void take_question();
    void answer(const endpoint& asker, const switches& broken);

    server_state& state_;
    stop_signal& stop_;
    socket_handle socket_;
    discovery_flood flood_; // the thread's
    std::thread thread_;
};

} // namespace elvantris::simulator
