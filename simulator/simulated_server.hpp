// One media server: its web port, its event model, and what keeps its Backup up to date.
//
// Several live in one process, on web ports of their own. Questions and commands come to ports
// that a host has once: whoever makes the servers opens those.
// Threads: any.
#pragma once

#include "control_server.hpp"
#include "http_front.hpp"
#include "replication.hpp"
#include "server_state.hpp"

#include <mutex>

namespace elvantris::simulator {

class simulated_server {
public:
    // Opens the web port. Throws port_error. The signal ends the waits of all connections.
    simulated_server(const server_options& options, stop_signal& stop);

    server_state& state() noexcept { return state_; }
    const server_options& options() const noexcept { return state_.options(); }

    // One control call's body: all of it takes effect, or nothing and switch_error is thrown. When
    // it returns the web port is as wanted; port_error if that cannot be opened again.
    void control(const nlohmann::ordered_json& request);

private:
    server_state state_;
    const control_server application_;
    http_front front_;
    std::mutex changing_; // the front: one change at a time, from the switch to the port
    const replication follow_up_;
};

} // namespace elvantris::simulator
