#include "os/sockets.hpp"

#include "os/clock.hpp"
#include "os/socket_calls.hpp"
#include "os/socket_failures.hpp"

#include <algorithm>
#include <climits>
#include <unistd.h>
#include <utility>

namespace elvantris::operator_control {
namespace {

// A negative time-out waits for ever. Signals don't shorten the wait.
bool wait_for(const socket_handle& socket, short events, milliseconds timeout) {
    const steady_time deadline = steady_now() + timeout;
    const bool endless = timeout < milliseconds::zero();
    pollfd watched{.fd = native_of(socket), .events = events, .revents = 0};
    while (true) {
        const auto left = std::max(std::chrono::ceil<milliseconds>(deadline - steady_now()),
                                   milliseconds::zero());
        const auto wait = std::min<std::int64_t>(left.count(), INT_MAX);
        const int ready = ::poll(&watched, 1, endless ? -1 : static_cast<int>(wait));
        if (ready == 0) return false;
        if (ready > 0 || errno != EINTR) return true;
    }
}

} // namespace

network_failure failure_of(int system_error) {
    switch (system_error) {
    case ENETUNREACH:
    case EHOSTUNREACH:
    case ENETDOWN:
    case EADDRNOTAVAIL:
        return network_failure::no_network;
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
    case EADDRINUSE: // of a connection to another computer: no free port is left here
    case EAGAIN:     // of a call for which the socket was ready: the system had no room
        return network_failure::no_resources;
    default:
        return network_failure::unanswered;
    }
}

socket_handle open_socket(int family, int type, int protocol) {
    return socket_handle(::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
}

network_failure lookup_failure(int error) {
    const int system_error = errno;
    if (error == EAI_MEMORY) return network_failure::no_resources;
    if (error == EAI_SYSTEM) return failure_of(system_error);
    // Without a descriptor the C library can't open its list of hosts, and calls the name unknown.
    const bool may_open = open_datagram_socket().valid();
    return may_open ? network_failure::unanswered : failure_of(errno);
}

std::optional<std::size_t> receive_from(const socket_handle& socket, std::span<char> buffer,
                                        sockaddr_in& sender) {
    socklen_t sender_length = sizeof sender;
    const auto size = ::recvfrom(native_of(socket), buffer.data(), buffer.size(), 0,
                                 reinterpret_cast<sockaddr*>(&sender), &sender_length);
    return size < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(size));
}

// Linux reports them to a connected socket alone.
void ignore_refusals(const socket_handle&) {}

int poll_all(std::span<pollfd> watched, milliseconds timeout) {
    return ::poll(watched.data(), watched.size(), static_cast<int>(timeout.count()));
}

socket_runtime::socket_runtime() : started_(true) {}
socket_runtime::~socket_runtime() = default;

void socket_handle::close() {
    if (valid()) ::close(static_cast<int>(std::exchange(native_, -1)));
}

bool wait_writable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, POLLOUT, timeout);
}

bool wait_readable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, POLLIN, timeout);
}

send_attempt send_now(const socket_handle& socket, std::string_view bytes) {
    while (true) {
        const auto sent = ::send(native_of(socket), bytes.data(), bytes.size(), send_flags);
        if (sent > 0) return {.size = static_cast<std::size_t>(sent)};
        if (sent == 0) return {.failure = network_failure::unanswered};
        if (errno != EINTR) return {.failure = late_failure_of(errno)};
    }
}

receive_attempt receive_now(const socket_handle& socket, std::span<char> buffer) {
    while (true) {
        const auto received = ::recv(native_of(socket), buffer.data(), buffer.size(), 0);
        if (received > 0)
            return {.size = static_cast<std::size_t>(received), .result = receive_result::received};
        if (received == 0) return {.result = receive_result::ended};
        if (errno != EINTR) return {.result = result_of_failed_read(errno)};
    }
}

socket_handle listen_on_loopback(std::uint16_t port, int backlog) {
    socket_handle socket = open_socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (!socket.valid()) return {};
    // Lets a port that still has closing connections be bound; a listening one it doesn't share.
    switch_on(socket, SO_REUSEADDR);
    if (!begin_listening(socket, loopback_address(port), backlog)) return {};
    return socket;
}

socket_handle accept_connection(const socket_handle& listener) {
    return socket_handle(
        ::accept4(native_of(listener), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

} // namespace elvantris::operator_control
