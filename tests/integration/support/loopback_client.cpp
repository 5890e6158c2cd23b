#include "integration/support/loopback_client.hpp"

#include "integration/support/eventually.hpp"

#include <array>

namespace elvantris::operator_control {
loopback_client::loopback_client(std::uint16_t port) {
    for (const socket_address& address :
         resolve_address("127.0.0.1", port, address_family::ipv4, transport::tcp))
        socket_ = connect_socket(address, patience);
}

bool loopback_client::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t sent = send_some(socket_, bytes, patience);
        if (sent == 0) return false;
        bytes.remove_prefix(sent);
    }
    return true;
}

std::optional<std::string> loopback_client::read_to_end() {
    std::string text;
    std::array<char, 65536> buffer{};
    const steady_time deadline = steady_now() + patience;
    while (steady_now() < deadline) {
        if (!wait_readable(socket_, milliseconds(100))) continue;
        const std::size_t size = receive_some(socket_, buffer, milliseconds::zero());
        if (size == 0) return text;
        text.append(buffer.data(), size);
    }
    return std::nullopt;
}

bool loopback_client::silent_for(milliseconds time) {
    return !wait_readable(socket_, time);
}

std::optional<std::string> ask_loopback(std::uint16_t port, std::string_view request) {
    loopback_client client(port);
    if (!client.send(request)) return std::nullopt;
    return client.read_to_end();
}

} // namespace elvantris::operator_control
