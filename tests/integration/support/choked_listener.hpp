#pragma once

#include "os/sockets.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace elvantris::operator_control {

// A TCP port at which every connection attempt hangs until `open_up`: its queue is full.
class choked_listener {
public:
    choked_listener() : listener_(listen_on_loopback(0, 0)) {
        const auto address =
            resolve_address("127.0.0.1", port(), address_family::ipv4, transport::tcp).at(0);
        while (queue_.size() < 16) {
            socket_handle filler = connect_socket(address, milliseconds(200));
            if (!filler.valid()) break;
            queue_.push_back(std::move(filler));
        }
    }
    std::uint16_t port() const { return bound_port(listener_); }
    void open_up() {
        while (wait_readable(listener_, milliseconds(0)))
            accepted_.push_back(accept_connection(listener_));
    }

private:
    socket_handle listener_;
    std::vector<socket_handle> queue_;
    std::vector<socket_handle> accepted_;
};

} // namespace elvantris::operator_control
