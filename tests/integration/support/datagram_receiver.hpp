#pragma once

#include "integration/support/eventually.hpp"
#include "os/sockets.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace elvantris::operator_control {

// A UDP port of the system's choice that takes what is sent to it.
class datagram_receiver {
public:
    datagram_receiver() : opened_(open_broadcast_socket()) {}

    bool bound() const { return opened_.failure == broadcast_failure::none; }
    std::uint16_t port() const { return bound_port(opened_.socket); }

    // The next datagram's bytes; absent if none comes in time.
    std::optional<std::string> next(milliseconds timeout = patience) {
        std::string buffer(65536, '\0');
        const auto datagram = receive_datagram(opened_.socket, buffer, timeout);
        if (!datagram) return std::nullopt;
        buffer.resize(datagram->size);
        return buffer;
    }

private:
    broadcast_socket opened_;
};

} // namespace elvantris::operator_control
