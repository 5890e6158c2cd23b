// A raw client on loopback: what a browser or a tool would do to one of our own servers.
#pragma once

#include "os/sockets.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

class loopback_client {
public:
    explicit loopback_client(std::uint16_t port);

    bool connected() const { return socket_.valid(); }
    bool send(std::string_view bytes);
    // All bytes until the server hangs up; absent if it has not within 10 seconds.
    std::optional<std::string> read_to_end();
    // Whether the server says or does nothing for so long.
    bool silent_for(milliseconds time);
    void close() { socket_.close(); }

private:
    socket_handle socket_;
};

// One connection, one request, the whole answer.
std::optional<std::string> ask_loopback(std::uint16_t port, std::string_view request);

} // namespace elvantris::operator_control
