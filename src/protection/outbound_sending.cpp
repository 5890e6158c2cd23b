#include "protection/outbound_sending.hpp"

#include "os/clock.hpp"
#include "os/sockets.hpp"
#include "protection/command_escapes.hpp"

#include <exception>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t longest_exception_text = 255;

milliseconds time_left(steady_time deadline) {
    return std::chrono::floor<milliseconds>(deadline - steady_now());
}

bool send_to(const socket_address& address, transport kind, std::string_view bytes,
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
        if (kind == transport::udp) break;
    }
    return bytes.empty();
}

} // namespace

bool send_action(const std::string& host, std::uint16_t port, transport kind,
                 std::string_view bytes, milliseconds timeout, std::string& error) {
    const steady_time deadline = steady_now() + timeout;
    const auto addresses = resolve_address(host, port, address_family::any, kind,
                                           {.deadline = deadline, .given_up = {}});
    if (addresses.empty()) {
        error = "Destination could not be resolved.";
        return false;
    }
    for (const socket_address& address : addresses)
        if (send_to(address, kind, bytes, deadline)) return true;
    error = "Connect/send failed or timed out; device execution is unconfirmed.";
    return false;
}

bool send_step(const outbound_action& step, const std::atomic<bool>& running,
               std::string& failure) noexcept {
    try {
        failure.reserve(longest_exception_text);
        std::string bytes;
        if (!decode_command_escapes(step.payload, bytes, failure)) return false;
        for (std::uint32_t attempt = 0; attempt <= step.retries && running; ++attempt)
            if (send_action(step.host, static_cast<std::uint16_t>(step.port), step.transport, bytes,
                            milliseconds(step.timeoutMs), failure))
                return true;
    } catch (const std::exception& exception) {
        // Only as much as fits into the memory that is reserved: there may be no more.
        failure.assign(std::string_view(exception.what()).substr(0, failure.capacity()));
    }
    return false;
}

} // namespace elvantris::operator_control
