// The waits of sockets.hpp that have limits: cut into pieces, and between them the caller is asked.
#include "os/sockets.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

// A negative time-out means no limit. The last check comes after the time is over, so a socket that
// became ready while the program was paused still counts.
template<typename wait>
bool wait_in_pieces(const wait& ready_within, milliseconds timeout, const call_limits& limits) {
    if (!limits.given_up && limits.deadline == steady_time::max()) return ready_within(timeout);
    const bool endless = timeout < milliseconds::zero();
    const steady_time end =
        endless ? limits.deadline : std::min(limits.deadline, steady_now() + timeout);
    while (!limits.is_given_up()) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_now());
        if (ready_within(std::clamp(left, milliseconds::zero(), longest_unasked_wait))) return true;
        if (left <= milliseconds::zero()) return false;
    }
    return false;
}

} // namespace

bool wait_writable(const socket_handle& socket, milliseconds timeout, const call_limits& limits) {
    return wait_in_pieces([&](milliseconds piece) { return wait_writable(socket, piece); }, timeout,
                          limits);
}

bool wait_readable(const socket_handle& socket, milliseconds timeout, const call_limits& limits) {
    return wait_in_pieces([&](milliseconds piece) { return wait_readable(socket, piece); }, timeout,
                          limits);
}

connect_attempt try_to_connect(const socket_address& address, milliseconds timeout,
                               const call_limits& limits) {
    connect_attempt attempt = begin_connecting(address);
    if (!attempt.socket.valid()) return attempt;
    attempt.failure = wait_writable(attempt.socket, timeout, limits)
                          ? result_of_connecting(attempt.socket)
                          : network_failure::unanswered;
    if (attempt.failure != network_failure::none) attempt.socket.close();
    return attempt;
}

socket_handle connect_socket(const socket_address& address, milliseconds timeout,
                             const call_limits& limits) {
    return try_to_connect(address, timeout, limits).socket;
}

send_attempt try_to_send(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
                         const call_limits& limits) {
    if (!wait_writable(socket, timeout, limits)) return {.failure = network_failure::unanswered};
    return send_now(socket, bytes);
}

std::size_t send_some(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
                      const call_limits& limits) {
    return try_to_send(socket, bytes, timeout, limits).size;
}

receive_attempt try_to_receive(const socket_handle& socket, std::span<char> buffer,
                               milliseconds timeout, const call_limits& limits) {
    if (!wait_readable(socket, timeout, limits)) return {};
    return receive_now(socket, buffer);
}

std::size_t receive_some(const socket_handle& socket, std::span<char> buffer, milliseconds timeout,
                         const call_limits& limits) {
    return try_to_receive(socket, buffer, timeout, limits).size;
}

std::optional<received_datagram> receive_datagram(const socket_handle& socket,
                                                  std::span<char> buffer, milliseconds timeout,
                                                  const call_limits& limits) {
    if (!wait_readable(socket, timeout, limits)) return std::nullopt;
    return receive_datagram_now(socket, buffer);
}

} // namespace elvantris::operator_control
