#include "protection/outbound_action.hpp"

#include "os/clock.hpp"

namespace elvantris::operator_control {
namespace {

milliseconds time_left(steady_time deadline) {
    return std::chrono::floor<milliseconds>(deadline - steady_now());
}

bool send_to(const socket_address& address, bool udp, std::string_view bytes,
             steady_time deadline) {
    const milliseconds connect_limit = time_left(deadline);
    if (connect_limit < milliseconds(1)) return false;
    const socket_handle socket = connect_socket(address, connect_limit);
    if (!socket.valid()) return false;
    while (!bytes.empty()) {
        const milliseconds left = time_left(deadline);
        if (left < milliseconds(1)) return false;
        const std::size_t sent = send_some(socket, bytes, left);
        if (sent == 0) return false;
        bytes.remove_prefix(sent);
        // What one datagram didn't take is lost; a second one would be another message.
        if (udp) break;
    }
    return bytes.empty();
}

} // namespace

bool send_action(const std::string& host, std::uint16_t port, bool udp, std::string_view bytes,
                 milliseconds timeout, std::string& error) {
    const steady_time deadline = steady_now() + timeout;
    const auto addresses =
        resolve_address(host, port, address_family::any, udp ? transport::udp : transport::tcp,
                        {.deadline = deadline, .given_up = {}});
    if (addresses.empty()) {
        error = "Destination could not be resolved.";
        return false;
    }
    for (const socket_address& address : addresses)
        if (send_to(address, udp, bytes, deadline)) return true;
    error = "Connect/send failed or timed out; device execution is unconfirmed.";
    return false;
}

} // namespace elvantris::operator_control
