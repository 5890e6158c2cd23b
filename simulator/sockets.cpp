#include "sockets.hpp"

#include "socket_calls.hpp"

#include <utility>
#include <vector>

namespace elvantris::simulator {

namespace {

constexpr int backlog = 64;
constexpr std::chrono::seconds longest_send_wait{10};
constexpr std::size_t read_size = 65536;

sockaddr_in native_address(const endpoint& place) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(place.port);
    result.sin_addr.s_addr = htonl(place.address);
    return result;
}

endpoint endpoint_of(const sockaddr_in& address) {
    return {.address = ntohl(address.sin_addr.s_addr), .port = ntohs(address.sin_port)};
}

std::optional<endpoint> numeric_endpoint(const std::string& address, std::uint16_t port) {
    in_addr number{};
    if (::inet_pton(AF_INET, address.c_str(), &number) != 1) return std::nullopt;
    return endpoint{.address = ntohl(number.s_addr), .port = port};
}

sockaddr_in socket_address(const std::string& address, std::uint16_t port) {
    const std::optional<endpoint> place = numeric_endpoint(address, port);
    if (!place) throw port_error("not an IPv4 address: " + address);
    return native_address(*place);
}

port_error cannot_open(const char* kind, const std::string& address, std::uint16_t port) {
    return port_error(std::string("cannot open ") + kind + " port " + std::to_string(port) +
                      " on " + address + ": " + last_error_text());
}

template<class type>
void set_option(native_socket socket, int level, int name, const type& value) {
    ::setsockopt(of_system(socket), level, name, reinterpret_cast<const char*>(&value),
                 sizeof value);
}

bool bind_to(native_socket socket, const sockaddr_in& where) {
    return ::bind(of_system(socket), reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0;
}

bool begin_connecting(native_socket socket, const sockaddr_in& where) {
    return ::connect(of_system(socket), reinterpret_cast<const sockaddr*>(&where), sizeof where) ==
               0 ||
           would_have_waited();
}

bool has_failed(native_socket socket) {
    int error = 0;
    address_size size = sizeof error;
    ::getsockopt(of_system(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return error != 0;
}

} // namespace

socket_handle::~socket_handle() {
    if (is_open()) close_socket(native_);
}

socket_handle::socket_handle(socket_handle&& other) noexcept
    : native_(std::exchange(other.native_, no_socket)) {}

socket_handle& socket_handle::operator=(socket_handle&& other) noexcept {
    std::swap(native_, other.native_);
    return *this;
}

socket_handle listen_tcp(const std::string& address, std::uint16_t port) {
    const sockaddr_in where = socket_address(address, port);
    socket_handle result(open_socket(SOCK_STREAM));
    claim_port(result.get());
    // Accepted connections inherit this.
    set_option(result.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    if (!bind_to(result.get(), where) || ::listen(of_system(result.get()), backlog) != 0)
        throw cannot_open("TCP", address, port);
    return result;
}

socket_handle bind_udp(const std::string& address, std::uint16_t port) {
    const sockaddr_in where = socket_address(address, port);
    socket_handle result(open_socket(SOCK_DGRAM));
    ignore_refusals(result.get());
    // A burst of commands must not be lost here: the tests count them.
    set_option(result.get(), SOL_SOCKET, SO_RCVBUF, 4 * 1024 * 1024);
    if (!bind_to(result.get(), where)) throw cannot_open("UDP", address, port);
    return result;
}

socket_handle accept_connection(native_socket listener, endpoint& peer) {
    sockaddr_in address{};
    socket_handle result(accept_waiting(listener, address));
    peer = endpoint_of(address);
    return result;
}

socket_handle connect_tcp(const std::string& address, std::uint16_t port,
                          std::chrono::milliseconds limit, const stop_signal& stop) {
    const std::optional<endpoint> place = numeric_endpoint(address, port);
    if (!place) return {};
    socket_handle result(open_socket(SOCK_STREAM));
    set_option(result.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    if (!begin_connecting(result.get(), native_address(*place)) ||
        wait_for(result.get(), socket_event::writable, stop, limit) != wait_result::ready ||
        has_failed(result.get()))
        return {};
    return result;
}

void connect_to_itself(native_socket socket) {
    sockaddr_in own{};
    address_size size = sizeof own;
    ::getsockname(of_system(socket), reinterpret_cast<sockaddr*>(&own), &size);
    if (!begin_connecting(socket, own)) throw port_error("no loopback: " + last_error_text());
}

std::string address_text(std::uint32_t address) {
    const in_addr number{native_address({.address = address}).sin_addr};
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &number, text, sizeof text);
    return text;
}

std::string address_text(const endpoint& place) {
    return address_text(place.address) + ":" + std::to_string(place.port);
}

std::int64_t send_now(native_socket socket, std::string_view bytes) noexcept {
    return ::send(of_system(socket), bytes.data(), length_of(bytes.size()), send_flags);
}

bool send_all(native_socket socket, std::string_view bytes, const stop_signal& stop) {
    while (!bytes.empty()) {
        if (wait_for(socket, socket_event::writable, stop, longest_send_wait) != wait_result::ready)
            return false;
        const std::int64_t sent = send_now(socket, bytes);
        if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
        if (sent < 0 && !would_have_waited() && !was_interrupted()) return false;
    }
    return true;
}

bool read_more(native_socket socket, std::string& text, std::chrono::milliseconds limit,
               const stop_signal& stop) {
    std::vector<char> buffer(read_size);
    for (;;) {
        if (wait_for(socket, socket_event::readable, stop, limit) != wait_result::ready)
            return false;
        const auto count = ::recv(of_system(socket), buffer.data(), length_of(buffer.size()), 0);
        if (count < 0 && (would_have_waited() || was_interrupted())) continue;
        if (count <= 0) return false;
        text.append(buffer.data(), static_cast<std::size_t>(count));
        return true;
    }
}

std::optional<datagram> receive_datagram(native_socket socket) {
    sockaddr_in from{};
    address_size size = sizeof from;
    std::string bytes(read_size, '\0');
    const auto count = ::recvfrom(of_system(socket), bytes.data(), length_of(bytes.size()), 0,
                                  reinterpret_cast<sockaddr*>(&from), &size);
    if (count < 0) return std::nullopt;
    bytes.resize(static_cast<std::size_t>(count));
    return datagram{.from = endpoint_of(from), .bytes = std::move(bytes)};
}

void send_datagram(native_socket socket, const endpoint& to, std::string_view bytes) {
    const sockaddr_in where = native_address(to);
    ::sendto(of_system(socket), bytes.data(), length_of(bytes.size()), send_flags,
             reinterpret_cast<const sockaddr*>(&where), sizeof where);
}

void reset_when_closed(native_socket socket) {
    linger at_once{};
    at_once.l_onoff = 1;
    set_option(socket, SOL_SOCKET, SO_LINGER, at_once);
}

} // namespace elvantris::simulator
