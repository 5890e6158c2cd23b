// Listening on the loopback interface, accepting and stopping: what all local servers have in
// common.
//
// A browser opens connections before it needs them, and other programs may do worse. So a
// connection is handed to the handler only when its first byte has arrived. When there is no room
// for one more, the one that has been silent longest is closed.
//
// Threads: `start` and `stop` belong to one thread. The handler runs on the accept thread, which
//   waits for it.
// Ownership: each connection that has sent something is handed over to the handler; silent ones
//   end with `stop`.
// Failure: a connection for which there is no room, no memory or no descriptor is closed.
#pragma once

#include "os/sockets.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <thread>

namespace elvantris::operator_control {

struct loopback_limits {
    int backlog = 0;
    std::size_t connections = 0;       // open at once, silent ones included
    std::size_t spare_descriptors = 0; // left to the rest of the process
};

// Counts as open for as long as it lives, which may be longer than its server does.
struct loopback_connection {
    std::shared_ptr<const void> seat; // released after the socket is closed
    socket_handle socket;
};

class loopback_server {
public:
    using connection_handler = std::function<void(loopback_connection connection)>;

    loopback_server(const loopback_limits& limits, connection_handler handler);
    ~loopback_server();
    loopback_server(const loopback_server&) = delete;
    loopback_server& operator=(const loopback_server&) = delete;
    loopback_server(loopback_server&&) = delete;
    loopback_server& operator=(loopback_server&&) = delete;

    // False if the port on 127.0.0.1 can't be had. True at once if already running. If there is no
    // thread the system's error is thrown, and nothing is running then.
    bool start(std::uint16_t port);
    // Waits for the accept thread, and so for a handler that is at work. Safe to repeat.
    void stop();

    // The port that is listened on; meaningful while running.
    std::uint16_t port() const { return port_; }
    // False from the moment in which `stop` begins: a handler that waits must look at it.
    const std::atomic<bool>& running() const { return running_; }

private:
    void accept_connections() noexcept;
    void serve_next();
    void accept_waiting(bool somebody_has_spoken);
    bool accept_next(bool keep);
    void make_room();
    bool has_room() const;
    void handle(loopback_connection connection);

    loopback_limits limits_;
    connection_handler handler_;
    std::atomic<bool> running_{false};
    std::uint16_t port_ = 0;
    socket_handle listen_socket_;
    std::shared_ptr<const void> seats_; // each open connection holds a copy
    // The accept thread's own, the longest-silent first; bounded by `limits_`.
    std::deque<loopback_connection> silent_;
    std::thread accept_thread_;
};

} // namespace elvantris::operator_control
