// What both systems' socket calls do alike. The rest is in linux/ and windows/; the waits that have
// limits are in limited_waits.cpp.
#include "os/sockets.hpp"

#include "os/socket_calls.hpp"
#include "os/socket_failures.hpp"

#include <array>
#include <cstring>
#include <thread>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds pause_after_failure{20};

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

bool bind_to(const socket_handle& socket, const sockaddr_in& address) {
    return ::bind(native_of(socket), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
           0;
}

// To connect a datagram socket sends nothing, and wants a way.
socket_address as_datagram_address(socket_address address) {
    address.type = SOCK_DGRAM;
    address.protocol = IPPROTO_UDP;
    return address;
}

} // namespace

network_failure late_failure_of(int system_error) {
    return failure_of(system_error) == network_failure::no_resources ? network_failure::no_resources
                                                                     : network_failure::unanswered;
}

receive_result result_of_failed_read(int system_error) {
    return failure_of(system_error) == network_failure::no_resources ? receive_result::no_resources
                                                                     : receive_result::ended;
}

sockaddr_in loopback_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool switch_on(const socket_handle& socket, int option) {
    const int on = 1;
    return ::setsockopt(native_of(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&on),
                        sizeof on) == 0;
}

bool begin_listening(const socket_handle& socket, const sockaddr_in& address, int backlog) {
    return bind_to(socket, address) && ::listen(native_of(socket), backlog) == 0;
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

resolve_attempt look_up_address(const std::string& host, std::uint16_t port, address_family family,
                                transport kind, host_text what) {
    addrinfo hints{};
    hints.ai_family = family == address_family::ipv4 ? AF_INET : AF_UNSPEC;
    hints.ai_socktype = kind == transport::tcp ? SOCK_STREAM : SOCK_DGRAM;
    hints.ai_flags = what == host_text::numeric ? AI_NUMERICHOST : 0;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (error != 0) return {.addresses = {}, .failure = lookup_failure(error)};
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
    if (!socket.valid()) return failed(last_socket_error());
    // On Windows one that failed at once becomes neither writable nor exceptional, and would use up
    // the time.
    if (::connect(native_of(socket), native_of(address), length_of(address.length)) != 0 &&
        last_socket_error() != connect_goes_on)
        return failed(last_socket_error());
    return {.socket = std::move(socket)};
}

network_failure result_of_connecting(const socket_handle& socket) {
    int error = 0;
    native_length error_length = sizeof error;
    if (::getsockopt(native_of(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error),
                     &error_length) != 0)
        return failure_of(last_socket_error());
    return error == 0 ? network_failure::none : late_failure_of(error);
}

bool has_way_to(const socket_address& address) {
    return begin_connecting(as_datagram_address(address)).failure != network_failure::no_network;
}

std::optional<std::uint32_t> own_address_towards(const socket_address& address) {
    const connect_attempt attempt = begin_connecting(as_datagram_address(address));
    sockaddr_in own{};
    native_length length = sizeof own;
    if (!attempt.socket.valid() ||
        ::getsockname(native_of(attempt.socket), reinterpret_cast<sockaddr*>(&own), &length) != 0 ||
        own.sin_family != AF_INET)
        return std::nullopt;
    return ntohl(own.sin_addr.s_addr);
}

std::vector<std::size_t> wait_any_readable(std::span<const socket_handle* const> sockets,
                                           milliseconds timeout) {
    std::vector<pollfd> watched;
    watched.reserve(sockets.size());
    for (const socket_handle* const socket : sockets)
        watched.push_back({.fd = native_of(*socket), .events = POLLIN, .revents = 0});
    if (poll_all(watched, timeout) < 0) std::this_thread::sleep_for(pause_after_failure);
    std::vector<std::size_t> ready;
    for (std::size_t at = 0; at < watched.size(); ++at)
        if (watched[at].revents != 0) ready.push_back(at);
    return ready;
}

socket_handle open_datagram_socket() {
    return open_socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
}

bool send_datagram(const socket_handle& socket, const socket_address& to, std::string_view bytes) {
    const auto sent = ::sendto(native_of(socket), bytes.data(), length_of(bytes.size()), send_flags,
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
    ignore_refusals(opened.socket);
    sockaddr_in any{};
    any.sin_family = AF_INET;
    if (!bind_to(opened.socket, any)) opened.failure = broadcast_failure::not_bound;
    return opened;
}

std::optional<received_datagram> receive_datagram_now(const socket_handle& socket,
                                                      std::span<char> buffer) {
    sockaddr_in from{};
    const std::optional<std::size_t> size = receive_from(socket, buffer, from);
    if (!size) return std::nullopt;
    received_datagram datagram{.size = *size, .sender = std::nullopt};
    if (from.sin_family == AF_INET) datagram.sender = ntohl(from.sin_addr.s_addr);
    return datagram;
}

std::string dotted_text(std::uint32_t address) {
    in_addr native{};
    native.s_addr = htonl(address);
    std::array<char, INET_ADDRSTRLEN> text{};
    return ::inet_ntop(AF_INET, &native, text.data(), text.size()) != nullptr ? text.data() : "";
}

std::optional<std::uint32_t> number_of_dotted(const std::string& dotted) {
    in_addr native{};
    if (::inet_pton(AF_INET, dotted.c_str(), &native) != 1) return std::nullopt;
    return ntohl(native.s_addr);
}

std::uint16_t bound_port(const socket_handle& listener) {
    sockaddr_in address{};
    native_length length = sizeof address;
    if (::getsockname(native_of(listener), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    return ntohs(address.sin_port);
}

bool knock_on_loopback(std::uint16_t port, milliseconds timeout) {
    const sockaddr_in address = loopback_address(port);
    return connect_socket(
               to_socket_address(AF_INET, SOCK_STREAM, IPPROTO_TCP, &address, sizeof address),
               timeout)
        .valid();
}

} // namespace elvantris::operator_control
