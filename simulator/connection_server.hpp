// A listening TCP port that can be closed and opened again, with one thread for each connection.
//
// Threads: open, close and stop belong to one thread at a time; the handler runs on the
//   connections' own threads.
// Ownership: the connection's socket is closed when the handler returns.
// Limits: 200 connections at once; a further one is closed as soon as it is accepted.
#pragma once

#include "sockets.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace elvantris::simulator {

class connection_server {
public:
    using handler = std::function<void(native_socket socket, const endpoint& peer)>;

    // Opens nothing yet. The signal ends the waits of the handler, and must outlive the server.
    connection_server(std::string address, std::uint16_t port, stop_signal& stop,
                      handler serve_connection);
    ~connection_server();
    connection_server(const connection_server&) = delete;
    connection_server& operator=(const connection_server&) = delete;
    connection_server(connection_server&&) = delete;
    connection_server& operator=(connection_server&&) = delete;

    // Does nothing if it is open. Throws port_error.
    void open();
    // When it returns, new connections are refused. Those that were accepted go on.
    void close();

private:
    struct connection {
        std::thread thread;
        std::atomic<bool> ended = false;
    };

    void accept_connections(native_socket listener, const stop_signal& closing);
    void start_connection(socket_handle socket, const endpoint& peer);
    void join_ended_connections();

    const std::string address_;
    const std::uint16_t port_;
    stop_signal& stop_;
    const handler serve_connection_;
    socket_handle listener_;
    std::unique_ptr<stop_signal> closing_;
    std::thread acceptor_;
    std::list<connection> connections_; // the acceptor's; others touch it only after its end
};

} // namespace elvantris::simulator
