// Listening, accepting and stopping: what the two local servers have in common.
//
// Threads: `start` and `stop` belong to one thread. The handler runs on the accept thread.
// Ownership: each accepted connection is handed over to the handler.
#pragma once

#include "os/sockets.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>

namespace elvantris::operator_control {

class loopback_server {
public:
    using connection_handler = std::function<void(socket_handle connection)>;

    loopback_server(int backlog, connection_handler handler);
    ~loopback_server();
    loopback_server(const loopback_server&) = delete;
    loopback_server& operator=(const loopback_server&) = delete;
    loopback_server(loopback_server&&) = delete;
    loopback_server& operator=(loopback_server&&) = delete;

    // False if the port on 127.0.0.1 can't be had. True at once if already running.
    bool start(std::uint16_t port);
    // Waits for the accept thread, and so for a handler that is at work. Safe to repeat.
    void stop();

    // The port that is listened on; meaningful while running.
    std::uint16_t port() const { return port_; }
    // False from the moment in which `stop` begins: a handler that waits must look at it.
    const std::atomic<bool>& running() const { return running_; }

private:
    void accept_connections();
    void handle(socket_handle connection);

    int backlog_;
    connection_handler handler_;
    std::atomic<bool> running_{false};
    std::uint16_t port_ = 0;
    socket_handle listen_socket_;
    std::thread accept_thread_;
};

} // namespace elvantris::operator_control
