#include "os/sockets.hpp"

#include "os/clock.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds pause_after_failure{20};

int native_of(const socket_handle& socket) {
    return static_cast<int>(socket.native());
}

socket_handle open_socket(int family, int type, int protocol) {
    return socket_handle(::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
}

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
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

network_failure lookup_failure(int error, int system_error) {
    if (error == EAI_MEMORY) return network_failure::no_resources;
    if (error == EAI_SYSTEM) return failure_of(system_error);
    // Without a descriptor the C library can't open its list of hosts, and calls the name unknown.
    const bool may_open = open_socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP).valid();
    return may_open ? network_failure::unanswered : failure_of(errno);
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
    const int on = 1;
    return ::setsockopt(native_of(socket), SOL_SOCKET, option, &on, sizeof on) == 0;
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
    case EAGAIN: // of a call for which the socket was ready: the system had no room
        return network_failure::no_resources;
    default:
        return network_failure::unanswered;
    }
}

socket_runtime::socket_runtime() : started_(true) {}
socket_runtime::~socket_runtime() = default;

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
    if (valid()) ::close(static_cast<int>(std::exchange(native_, -1)));
}

resolve_attempt look_up_address(const std::string& host, std::uint16_t port, address_family family,
                                transport kind, host_text what) {
    addrinfo hints{};
    hints.ai_family = family == address_family::ipv4 ? AF_INET : AF_UNSPEC;
    hints.ai_socktype = kind == transport::tcp ? SOCK_STREAM : SOCK_DGRAM;
    hints.ai_flags = what == host_text::numeric ? AI_NUMERICHOST : 0;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) return {.addresses = {}, .failure = lookup_failure(error, errno)};
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
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, dotted.c_str(), &address.sin_addr) != 1) return std::nullopt;
    return to_socket_address(AF_INET, SOCK_DGRAM, IPPROTO_UDP, &address, sizeof address);
}

connect_attempt begin_connecting(const socket_address& address) {
    const auto failed = [](int error) {
        return connect_attempt{.socket = {}, .failure = failure_of(error)};
    };
    socket_handle socket = open_socket(address.family, address.type, address.protocol);
    if (!socket.valid()) return failed(errno);
    const auto length = static_cast<socklen_t>(address.length);
    if (::connect(native_of(socket), native_of(address), length) != 0 && errno != EINPROGRESS)
        return failed(errno);
    return {.socket = std::move(socket)};
}

network_failure result_of_connecting(const socket_handle& socket) {
    int error = 0;
    socklen_t error_length = sizeof error;
    if (::getsockopt(native_of(socket), SOL_SOCKET, SO_ERROR, &error, &error_length) != 0)
        return failure_of(errno);
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
    return wait_for(socket, POLLOUT, timeout);
}

bool wait_readable(const socket_handle& socket, milliseconds timeout) {
    return wait_for(socket, POLLIN, timeout);
}

std::vector<std::size_t> wait_any_readable(std::span<const socket_handle* const> sockets,
                                           milliseconds timeout) {
    std::vector<pollfd> watched;
    watched.reserve(sockets.size());
    for (const socket_handle* const socket : sockets)
        watched.push_back({.fd = native_of(*socket), .events = POLLIN, .revents = 0});
    if (::poll(watched.data(), watched.size(), static_cast<int>(timeout.count())) < 0)
        std::this_thread::sleep_for(pause_after_failure);
    std::vector<std::size_t> ready;
    for (std::size_t at = 0; at < watched.size(); ++at)
        if (watched[at].revents != 0) ready.push_back(at);
    return ready;
}

send_attempt send_now(const socket_handle& socket, std::string_view bytes) {
    while (true) {
        const auto sent = ::send(native_of(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL);
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

socket_handle open_datagram_socket() {
    return open_socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
}

bool send_datagram(const socket_handle& socket, const socket_address& to, std::string_view bytes) {
    const auto sent = ::sendto(native_of(socket), bytes.data(), bytes.size(), MSG_NOSIGNAL,
                               native_of(to), static_cast<socklen_t>(to.length));
    return sent >= 0 && static_cast<std::size_t>(sent) == bytes.size();
}

broadcast_socket open_broadcast_socket() {
    broadcast_socket opened{.socket = open_datagram_socket()};
    if (!opened.socket.valid()) {
        opened.failure = broadcast_failure::not_created;
        return opened;
    }
    switch_on(opened.socket, SO_BROADCAST);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    if (::bind(native_of(opened.socket), reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0)
        opened.failure = broadcast_failure::not_bound;
    return opened;
}

std::optional<received_datagram> receive_datagram_now(const socket_handle& socket,
                                                      std::span<char> buffer) {
    sockaddr_in from{};
    socklen_t from_length = sizeof from;
    const auto size = ::recvfrom(native_of(socket), buffer.data(), buffer.size(), 0,
                                 reinterpret_cast<sockaddr*>(&from), &from_length);
    if (size < 0) return std::nullopt;
    received_datagram datagram{.size = static_cast<std::size_t>(size), .sender = std::nullopt};
    if (from.sin_family == AF_INET) datagram.sender = ntohl(from.sin_addr.s_addr);
    return datagram;
}

std::string dotted_text(std::uint32_t address) {
    const in_addr native{.s_addr = htonl(address)};
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &native, text.data(), text.size()) != nullptr ? text.data() : "";
}

socket_handle listen_on_loopback(std::uint16_t port, int backlog) {
    socket_handle socket = open_socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (!socket.valid()) return {};
    // Lets a port that still has closing connections be bound; a listening one it doesn't share.
    switch_on(socket, SO_REUSEADDR);
    const sockaddr_in address = loopback_address(port);
    if (::bind(native_of(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
            0 ||
        ::listen(native_of(socket), backlog) != 0)
        return {};
    return socket;
}

std::uint16_t bound_port(const socket_handle& listener) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (::getsockname(native_of(listener), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    return ntohs(address.sin_port);
}

socket_handle accept_connection(const socket_handle& listener) {
    return socket_handle(
        ::accept4(native_of(listener), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

bool knock_on_loopback(std::uint16_t port, milliseconds timeout) {
    const sockaddr_in address = loopback_address(port);
    return connect_socket(
               to_socket_address(AF_INET, SOCK_STREAM, IPPROTO_TCP, &address, sizeof address),
               timeout)
        .valid();
}

} // namespace elvantris::operator_control
