// A peer on loopback that does to each connection what a script says: the other end of a client
// under test.
//
// Threads: each connection is served on a thread of its own, in the order in which they came;
//   what was received may be read at any time.
// Ownership: the destructor ends every script that waits, and joins all threads.
#pragma once

#include "os/sockets.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace elvantris::operator_control {

class scripted_peer;

// One accepted connection in the hands of a script. It is closed when the script returns.
class peer_connection {
public:
    peer_connection(scripted_peer& peer, socket_handle socket, std::size_t index)
        : peer_(peer), socket_(std::move(socket)), index_(index) {}

    // Counts the connections of this peer from 0.
    std::size_t index() const { return index_; }

    // Headers and announced body, or what came before the client fell silent or left. The peer
    // keeps the text before this returns.
    std::string read_request();
    // All that comes until the client hangs up.
    std::string read_to_end();
    // Takes at most so many bytes after a short pause: a client that sends much finds little room.
    // False once the client has gone away.
    bool trickle(std::size_t bytes);
    // False if the client went away first.
    bool send(std::string_view bytes);
    // Waits until the client goes away or the peer is destroyed.
    void hang();
    // Reads nothing at all until the peer is destroyed.
    void ignore() const;
    // Lets the request arrive and closes with it unread, which resets the connection.
    void reset();
    // False once the peer is being destroyed: a script that repeats itself must look.
    bool wanted() const;

private:
    bool read_more(std::string& text);

    scripted_peer& peer_;
    socket_handle socket_;
    std::size_t index_;
};

using peer_script = std::function<void(peer_connection&)>;

class scripted_peer {
public:
    explicit scripted_peer(peer_script script);
    ~scripted_peer();
    scripted_peer(const scripted_peer&) = delete;
    scripted_peer& operator=(const scripted_peer&) = delete;
    scripted_peer(scripted_peer&&) = delete;
    scripted_peer& operator=(scripted_peer&&) = delete;

    std::uint16_t port() const { return port_; }
    std::size_t connections() const { return connections_; }
    // What `read_request` and `read_to_end` have read, in the order of reading.
    std::vector<std::string> received() const;

private:
    friend class peer_connection;
    void accept_connections();

    peer_script script_;
    socket_handle listener_;
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<std::size_t> connections_{0};
    mutable std::mutex lock_; // guards `received_`
    std::vector<std::string> received_;
    std::vector<std::thread> threads_; // belong to the accept thread until it is joined
    std::thread accept_thread_;
};

// Reads the request, sends these bytes, hangs up.
peer_script replies(std::string bytes);
// The first connection gets the first of these, and so on; the last one repeats.
peer_script replies_in_turn(std::vector<std::string> each);
// The request's path, as it stands in the request line, chooses; any other path gets a 404.
peer_script replies_by_path(std::map<std::string, std::string> each);

// A complete reply with its Content-Length.
std::string http_reply_text(int status, std::string_view body);

// "GET /path" of a request's first line, and what stands behind its headers.
std::string request_target(std::string_view request);
std::string request_body(std::string_view request);

// A loopback port on which nobody listens.
std::uint16_t closed_port();

} // namespace elvantris::operator_control
