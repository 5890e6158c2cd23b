#include "os/sockets.hpp"

#include "os/socket_calls.hpp"
#include "os/socket_failures.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {
namespace {

// INVALID_SOCKET has all bits set, which is our -1.
socket_handle take_over(SOCKET native) {
    socket_handle socket(static_cast<std::intptr_t>(native));
    if (!socket.valid()) return socket;
    u_long on = 1;
    ::ioctlsocket(native, static_cast<long>(FIONBIO), &on);
    return socket;
}

enum class readiness { readable, writable };

// A negative time-out waits for ever. A failed connect shows only in the third set.
bool wait_for(const socket_handle& socket, readiness wanted, milliseconds timeout) {
    fd_set wanted_set;
    fd_set failed_set;
    FD_ZERO(&wanted_set);
    FD_ZERO(&failed_set);
    FD_SET(native_of(socket), &wanted_set);
    FD_SET(native_of(socket), &failed_set);
    const auto count = std::max<std::int64_t>(timeout.count(), 0);
    timeval limit{.tv_sec = static_cast<long>(count / 1000),
                  .tv_usec = static_cast<long>(count % 1000) * 1000};
    const bool reads = wanted == readiness::readable;
    timeval* const wait = timeout < milliseconds::zero() ? nullptr : &limit;
    return (reads ? ::select(0, &wanted_set, nullptr, nullptr, wait)
                  : ::select(0, nullptr, &wanted_set, &failed_set, wait)) != 0;
}

// Windows takes all that it is handed at once, and copies it; for many megabytes it may have no
// room.
constexpr std::size_t largest_send = 1024 * 1024;

socket_handle listen_with(int sharing, std::uint16_t port, int backlog) {
    socket_handle socket = open_socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (!socket.valid() || !switch_on(socket, sharing) ||
        !begin_listening(socket, loopback_address(port), backlog))
        return {};
    return socket;
}

} // namespace

network_failure failure_of(int system_error) {
    switch (system_error) {
    case WSAENETUNREACH:
    case WSAEHOSTUNREACH:
    case WSAENETDOWN:
    case WSAEADDRNOTAVAIL:
        return network_failure::no_network;
    case WSAEMFILE:
    case WSAENOBUFS:
    case WSA_NOT_ENOUGH_MEMORY:
    case WSAEADDRINUSE:  // of a connection to another computer: no free port is left here
    case WSAEWOULDBLOCK: // the wait reported ready because it couldn't wait
        return network_failure::no_resources;
    default:
        return network_failure::unanswered;
    }
}

socket_handle open_socket(int family, int type, int protocol) {
    return take_over(::WSASocketW(family, type, protocol, nullptr, 0,
                                  WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
}

network_failure lookup_failure(int error) {
    return failure_of(error);
}

std::optional<std::size_t> receive_from(const socket_handle& socket, std::span<char> buffer,
                                        sockaddr_in& sender) {
    int sender_length = sizeof sender;
    const int size = ::recvfrom(native_of(socket), buffer.data(), length_of(buffer.size()), 0,
                                reinterpret_cast<sockaddr*>(&sender), &sender_length);
    if (size >= 0) return static_cast<std::size_t>(size);
    // A datagram longer than the buffer arrives cut, and is reported as an error all the same.
    if (::WSAGetLastError() == WSAEMSGSIZE) return buffer.size();
    return std::nullopt;
}

void ignore_refusals(const socket_handle& socket) {
    BOOL report_refusals = FALSE;
    DWORD unused = 0;
    ::WSAIoctl(native_of(socket), SIO_UDP_CONNRESET, &report_refusals, sizeof report_refusals,
               nullptr, 0, &unused, nullptr, nullptr);
}

// A set for select would have room for 64.
int poll_all(std::span<pollfd> watched, milliseconds timeout) {
    return ::WSAPoll(watched.data(), static_cast<ULONG>(watched.size()),
                     static_cast<int>(timeout.count()));
}

socket_runtime::socket_runtime() {
    WSADATA details{};
    started_ = ::WSAStartup(MAKEWORD(2, 2), &details) == 0;
}

socket_runtime::~socket_runtime() {
    if (started_) ::WSACleanup();
}

void socket_handle::close() {
    if (valid()) ::closesocket(static_cast<SOCKET>(std::exchange(native_, -1)));
}

bool wait_writable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, readiness::writable, timeout);
}

bool wait_readable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, readiness::readable, timeout);
}

send_attempt send_now(const socket_handle& socket, std::string_view bytes) {
    const std::string_view piece = bytes.substr(0, largest_send);
    const int sent = ::send(native_of(socket), piece.data(), length_of(piece.size()), send_flags);
    if (sent > 0) return {.size = static_cast<std::size_t>(sent)};
    return {.failure =
                sent == 0 ? network_failure::unanswered : late_failure_of(::WSAGetLastError())};
}

receive_attempt receive_now(const socket_handle& socket, std::span<char> buffer) {
    const int received = ::recv(native_of(socket), buffer.data(), length_of(buffer.size()), 0);
    if (received > 0)
        return {.size = static_cast<std::size_t>(received), .result = receive_result::received};
    if (received == 0) return {.result = receive_result::ended};
    return {.result = result_of_failed_read(::WSAGetLastError())};
}

socket_handle listen_on_loopback(std::uint16_t port, int backlog) {
    // Windows lets us take this address from a program that listens on all of them, so a port
    // counts as taken when somebody answers there. A refusal may take two seconds to come back; a
    // listener on the same machine answers at once.
    if (port != 0 && knock_on_loopback(port, milliseconds(200))) return {};
    // No other program may share the port: it would get a part of the requests. But connections
    // that an earlier listener has left behind refuse that, and the port is to be had at once.
    socket_handle exclusive = listen_with(SO_EXCLUSIVEADDRUSE, port, backlog);
    return exclusive.valid() ? std::move(exclusive) : listen_with(SO_REUSEADDR, port, backlog);
}

socket_handle accept_connection(const socket_handle& listener) {
    socket_handle accepted = take_over(::accept(native_of(listener), nullptr, nullptr));
    if (accepted.valid())
        ::SetHandleInformation(reinterpret_cast<HANDLE>(native_of(accepted)), HANDLE_FLAG_INHERIT,
                               0);
    return accepted;
}

} // namespace elvantris::operator_control
