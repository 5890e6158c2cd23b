// Answers the workstations' search for servers, for all servers of this host.
#pragma once

#include "discovery_flood.hpp"
#include "server_state.hpp"
#include "sockets.hpp"

#include <string>
#include <thread>
#include <vector>

namespace elvantris::simulator {

class discovery_responder {
public:
    // Opens the port. Throws port_error. Runs until the signal is raised.
    discovery_responder(const std::vector<server_state*>& servers, stop_signal& stop,
                        const std::string& address, std::uint16_t port);
    ~discovery_responder();
    discovery_responder(const discovery_responder&) = delete;
    discovery_responder& operator=(const discovery_responder&) = delete;
    discovery_responder(discovery_responder&&) = delete;
    discovery_responder& operator=(discovery_responder&&) = delete;

private:
    struct answering_server {
        server_state& state;
        discovery_flood flood; // the thread's
    };

    void run();
    bool is_flooding() const;
    void take_question();
    void answer(answering_server& server, const endpoint& asker);
    void send_replies(const server_options& options, const endpoint& asker,
                      const switches& broken) const;

    stop_signal& stop_;
    socket_handle socket_;
    std::vector<answering_server> servers_;
    std::thread thread_;
};

} // namespace elvantris::simulator
