#include "os/sockets.hpp"

#include "os/clock.hpp"

#include <algorithm>
#include <cstring>
#include <thread>
#include <utility>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <mswsock.h>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds pause_after_failure{20};

SOCKET native_of(const socket_handle& socket) {
    return static_cast<SOCKET>(socket.native());
}

// INVALID_SOCKET has all bits set, which is our -1.
socket_handle take_over(SOCKET native) {
    socket_handle socket(static_cast<std::intptr_t>(native));
    if (!socket.valid()) return socket;
    u_long on = 1;
    ::ioctlsocket(native, static_cast<long>(FIONBIO), &on);
    return socket;
}

socket_handle open_socket(int family, int type, int protocol) {
    return take_over(::WSASocketW(family, type, protocol, nullptr, 0,
                                  WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
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

socket_address to_socket_address(int family, int type, int protocol, const void* bytes,
                                 std::size_t length) {
    socket_address address{
        .family = family, .type = type, .protocol = protocol, .length = length, .bytes = {}};
    std::memcpy(address.bytes.data(), bytes, length);
    return address;
}

const sockaddr* native_of(const socket_address& address) {
    return reinterpret_cast<const sockaddr*>(address.bytes.data());
}

sockaddr_in loopback_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(port);
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    return address;
}

// Of a connection under way: that there is no way may also have been told by a router by then.
network_failure late_failure_of(int system_error) {
    return failure_of(system_error) == network_failure::no_resources ? network_failure::no_resources
                                                                     : network_failure::unanswered;
}

receive_result result_of_failed_read(int system_error) {
    return failure_of(system_error) == network_failure::no_resources ? receive_result::no_resources
                                                                     : receive_result::ended;
}

bool switch_on(const socket_handle& socket, int option) {
    const BOOL on = TRUE;
    return ::setsockopt(native_of(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&on),
                        sizeof on) == 0;
}

// Windows takes all that it is handed at once, and copies it; for many megabytes it may have no
// room.
constexpr std::size_t largest_send = 1024 * 1024;

int length_of(std::size_t size) {
    return static_cast<int>(std::min<std::size_t>(size, 0x7FFFFFFF));
}

socket_handle listen_with(int sharing, const sockaddr_in& address, int backlog) {
    socket_handle socket = open_socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (!socket.valid() || !switch_on(socket, sharing)) return {};
    if (::bind(native_of(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        ::listen(native_of(socket), backlog) != 0)
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
    case WSAEWOULDBLOCK: // the wait said ready: it couldn't wait
        return network_failure::no_resources;
    default:
        return network_failure::unanswered;
    }
}

socket_runtime::socket_runtime() {
    WSADATA details{};
    started_ = ::WSAStartup(MAKEWORD(2, 2), &details) == 0;
}

socket_runtime::~socket_runtime() {
    if (started_) ::WSACleanup();
}

socket_handle::socket_handle(socket_handle&& other) noexcept
    : native_(std::exchange(other.native_, -1)) {}

socket_handle& socket_handle::operator=(socket_handle&& other) noexcept {
    if (this != &other) {
        close();
        native_ = std::exchange(other.native_, -1);
    }
    return *this;
}

void socket_handle::close() {
    if (valid()) ::closesocket(static_cast<SOCKET>(std::exchange(native_, -1)));
}

resolve_attempt look_up_address(const std::string& host, std::uint16_t port, address_family family,
                                transport kind, host_text what) {
    addrinfo hints{};
    hints.ai_family = family == address_family::ipv4 ? AF_INET : AF_UNSPEC;
    hints.ai_socktype = kind == transport::tcp ? SOCK_STREAM : SOCK_DGRAM;
    hints.ai_flags = what == host_text::numeric ? AI_NUMERICHOST : 0;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) return {.addresses = {}, .failure = failure_of(error)};
    resolve_attempt resolved;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next)
        resolved.addresses.push_back(to_socket_address(entry->ai_family, entry->ai_socktype,
                                                       entry->ai_protocol, entry->ai_addr,
                                                       entry->ai_addrlen));
    ::freeaddrinfo(found);
    return resolved;
}

std::optional<socket_address> ipv4_address(const std::string& dotted, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(port);
    if (::inet_pton(AF_INET, dotted.c_str(), &address.sin_addr) != 1) return std::nullopt;
    return to_socket_address(AF_INET, SOCK_DGRAM, IPPROTO_UDP, &address, sizeof address);
}

connect_attempt begin_connecting(const socket_address& address) {
    const auto failed = [](int error) {
        return connect_attempt{.socket = {}, .failure = failure_of(error)};
    };
    socket_handle socket = open_socket(address.family, address.type, address.protocol);
    if (!socket.valid()) return failed(::WSAGetLastError());
    // One that failed at once becomes neither writable nor exceptional, and would use up the time.
    if (::connect(native_of(socket), native_of(address), length_of(address.length)) != 0 &&
        ::WSAGetLastError() != WSAEWOULDBLOCK)
        return failed(::WSAGetLastError());
    return {.socket = std::move(socket)};
}

network_failure result_of_connecting(const socket_handle& socket) {
    int error = 0;
    int error_length = sizeof error;
    if (::getsockopt(native_of(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                     &error_length) != 0)
        return failure_of(::WSAGetLastError());
    if (error == 0) return network_failure::none;
    return late_failure_of(error);
}

bool has_way_to(const socket_address& address) {
    socket_address probe = address; // to connect a datagram socket sends nothing, and wants a way
    probe.type = SOCK_DGRAM;
    probe.protocol = IPPROTO_UDP;
    return begin_connecting(probe).failure != network_failure::no_network;
}

bool wait_writable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, readiness::writable, timeout);
}

bool wait_readable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, readiness::readable, timeout);
}

std::vector<std::size_t> wait_any_readable(std::span<const socket_handle* const> sockets,
                                           milliseconds timeout) {
    std::vector<WSAPOLLFD> watched; // a set for select would have room for 64
    watched.reserve(sockets.size());
    for (const socket_handle* const socket : sockets)
        watched.push_back({.fd = native_of(*socket), .events = POLLIN, .revents = 0});
    if (::WSAPoll(watched.data(), static_cast<ULONG>(watched.size()),
                  static_cast<int>(timeout.count())) == SOCKET_ERROR)
        std::this_thread::sleep_for(pause_after_failure);
    std::vector<std::size_t> ready;
    for (std::size_t at = 0; at < watched.size(); ++at)
        if (watched[at].revents != 0) ready.push_back(at);
    return ready;
}

send_attempt send_now(const socket_handle& socket, std::string_view bytes) {
    const std::string_view piece = bytes.substr(0, largest_send);
    const int sent = ::send(native_of(socket), piece.data(), length_of(piece.size()), 0);
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

socket_handle open_datagram_socket() {
    return open_socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
}

bool send_datagram(const socket_handle& socket, const socket_address& to, std::string_view bytes) {
    const int sent = ::sendto(native_of(socket), bytes.data(), length_of(bytes.size()), 0,
                              native_of(to), length_of(to.length));
    return sent >= 0 && static_cast<std::size_t>(sent) == bytes.size();
}

broadcast_socket open_broadcast_socket() {
    broadcast_socket opened{.socket = open_datagram_socket()};
    if (!opened.socket.valid()) {
        opened.failure = broadcast_failure::not_created;
        return opened;
    }
    switch_on(opened.socket, SO_BROADCAST);
    // Otherwise one host that refuses the question makes the next receive fail, and ends the round.
    BOOL report_refusals = FALSE;
    DWORD unused = 0;
    ::WSAIoctl(native_of(opened.socket), SIO_UDP_CONNRESET, &report_refusals,
               sizeof report_refusals, nullptr, 0, &unused, nullptr, nullptr);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    if (::bind(native_of(opened.socket), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
        opened.failure = broadcast_failure::not_bound;
    return opened;
}

std::optional<received_datagram> receive_datagram_now(const socket_handle& socket,
                                                      std::span<char> buffer) {
    sockaddr_in from{};
    int from_length = sizeof from;
    int size = ::recvfrom(native_of(socket), buffer.data(), length_of(buffer.size()), 0,
                          reinterpret_cast<sockaddr*>(&from), &from_length);
    // A datagram longer than the buffer arrives cut, and is reported as an error all the same.
    if (size < 0 && ::WSAGetLastError() == WSAEMSGSIZE) size = length_of(buffer.size());
    if (size < 0) return std::nullopt;
    received_datagram datagram{.size = static_cast<std::size_t>(size), .sender = std::nullopt};
    if (from.sin_family == AF_INET) datagram.sender = ::ntohl(from.sin_addr.s_addr);
    return datagram;
}

std::string dotted_text(std::uint32_t address) {
    in_addr native{};
    native.s_addr = ::htonl(address);
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &native, text.data(), text.size()) != nullptr ? text.data() : "";
}

socket_handle listen_on_loopback(std::uint16_t port, int backlog) {
    // Windows lets us take this address from a program that listens on all of them, so a port
    // counts as taken when somebody answers there. A refusal may take two seconds to come back; a
    // listener on the same machine answers at once.
    if (port != 0 && knock_on_loopback(port, milliseconds(200))) return {};
    const sockaddr_in address = loopback_address(port);
    // No other program may share the port: it would get a part of the requests. But connections
    // that an earlier listener has left behind refuse that, and the port is to be had at once.
    socket_handle exclusive = listen_with(SO_EXCLUSIVEADDRUSE, address, backlog);
    return exclusive.valid() ? std::move(exclusive) : listen_with(SO_REUSEADDR, address, backlog);
}

std::uint16_t bound_port(const socket_handle& listener) {
    sockaddr_in address{};
    int length = sizeof address;
    if (::getsockname(native_of(listener), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    return ::ntohs(address.sin_port);
}

socket_handle accept_connection(const socket_handle& listener) {
    socket_handle accepted = take_over(::accept(native_of(listener), nullptr, nullptr));
    if (accepted.valid())
        ::SetHandleInformation(reinterpret_cast<HANDLE>(native_of(accepted)), HANDLE_FLAG_INHERIT,
                               0);
    return accepted;
}

bool knock_on_loopback(std::uint16_t port, milliseconds timeout) {
    const sockaddr_in address = loopback_address(port);
    return connect_socket(
               to_socket_address(AF_INET, SOCK_STREAM, IPPROTO_TCP, &address, sizeof address),
               timeout)
        .valid();
}

} // namespace elvantris::operator_control
