// The system's sockets, reduced to what the program does with them.
//
// Every socket here is non-blocking inside: a call waits for as long as its time-out and its limits
// say and no longer. No call raises a signal, and no socket is inherited by a child process.
// Threads: a socket belongs to one thread at a time; the free functions are re-entrant.
// Failure: a value, never an exception.
#pragma once

#include "os/call_limits.hpp"
#include "os/clock.hpp"
#include "os/transport.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// The socket layer of the process. Counted by the system: a second one nests inside the first.
class socket_runtime {
public:
    socket_runtime();
    ~socket_runtime();
    socket_runtime(const socket_runtime&) = delete;
    socket_runtime& operator=(const socket_runtime&) = delete;
    socket_runtime(socket_runtime&&) = delete;
    socket_runtime& operator=(socket_runtime&&) = delete;

    bool started() const { return started_; }

private:
    bool started_ = false;
};

// Owns one socket and closes it.
class socket_handle {
public:
    socket_handle() = default;
    explicit socket_handle(std::intptr_t native) : native_(native) {}
    ~socket_handle() { close(); }
    socket_handle(socket_handle&& other) noexcept;
    socket_handle& operator=(socket_handle&& other) noexcept;
    socket_handle(const socket_handle&) = delete;
    socket_handle& operator=(const socket_handle&) = delete;

    bool valid() const { return native_ != -1; }
    std::intptr_t native() const { return native_; }
    void close();

private:
    std::intptr_t native_ = -1;
};

enum class address_family { ipv4, any };

// One place to which a socket can be connected, as the resolver gave it.
struct socket_address {
    int family = 0;
    int type = 0;
    int protocol = 0;
    std::size_t length = 0;
    alignas(8) std::array<std::byte, 128> bytes{};
};

// Why a call failed. Only `unanswered` says anything about the peer or the way to it. Ordered by
// severity: a later one is worse.
enum class network_failure {
    none,
    no_network, // this computer has no way to the address: no route, no interface
    unanswered,
    no_resources, // this computer has no descriptor, buffer, thread or memory left
};

// The cause to report when several addresses were tried: the worse one.
constexpr network_failure graver_of(network_failure one, network_failure other) {
    return std::max(one, other);
}

// The addresses of a host and port, in the resolver's order, and what went wrong if there is none:
// the resolver knows none or doesn't say so within the limits, or it couldn't be asked. A numeric
// address needs neither resolver nor thread.
struct resolve_attempt {
    std::vector<socket_address> addresses;
    network_failure failure = network_failure::none;
};
resolve_attempt try_to_resolve(const std::string& host, std::uint16_t port, address_family family,
                               transport kind, const call_limits& limits = {});
// The same for callers that don't need the cause.
std::vector<socket_address> resolve_address(const std::string& host, std::uint16_t port,
                                            address_family family, transport kind,
                                            const call_limits& limits = {});

// The same by the system's resolver alone, which may be slow with anything but numbers.
enum class host_text { numeric, any };
resolve_attempt look_up_address(const std::string& host, std::uint16_t port, address_family family,
                                transport kind, host_text what);

// A dotted IPv4 address as a destination; absent for any other text. Host names are not resolved.
std::optional<socket_address> ipv4_address(const std::string& dotted, std::uint16_t port);

struct connect_attempt {
    socket_handle socket; // invalid if it failed
    network_failure failure = network_failure::none;
};

// A new socket that is connected within the time-out (a datagram socket is merely bound to its
// peer), and what went wrong if there is none.
connect_attempt try_to_connect(const socket_address& address, milliseconds timeout,
                               const call_limits& limits = {});
// The same for callers that don't need the cause.
socket_handle connect_socket(const socket_address& address, milliseconds timeout,
                             const call_limits& limits = {});

// Its two halves: a socket that becomes writable when it is connected or has failed, and which of
// the two it was.
connect_attempt begin_connecting(const socket_address& address);
network_failure result_of_connecting(const socket_handle& socket);

// Whether this computer has a way to the address just now. Nothing is sent to find out.
bool has_way_to(const socket_address& address);
// This computer's own address on that way, in host byte order. Absent without a way, or with one
// that is not IPv4. Nothing is sent here either.
std::optional<std::uint32_t> own_address_towards(const socket_address& address);

// Waits until the socket can be written or read. False when the time is over; true also for a
// socket that has failed, as the call that follows then tells at once.
bool wait_writable(const socket_handle& socket, milliseconds timeout);
bool wait_readable(const socket_handle& socket, milliseconds timeout);
bool wait_writable(const socket_handle& socket, milliseconds timeout, const call_limits& limits);
bool wait_readable(const socket_handle& socket, milliseconds timeout, const call_limits& limits);

// Waits in the same way for several sockets at once: the positions of all that can be read,
// ascending. None when the time is over, and after a short pause if the system can't wait for so
// many.
std::vector<std::size_t> wait_any_readable(std::span<const socket_handle* const> sockets,
                                           milliseconds timeout);

// Sends what the socket takes now, waiting up to the time-out for room. The number of bytes taken,
// and what went wrong if there are none.
struct send_attempt {
    std::size_t size = 0;
    network_failure failure = network_failure::none;
};
send_attempt try_to_send(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
                         const call_limits& limits = {});
send_attempt send_now(const socket_handle& socket, std::string_view bytes);
// The same for callers that don't need the cause: 0 for a time-out or a failure.
std::size_t send_some(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
                      const call_limits& limits = {});

// Receives into `buffer`, waiting up to the time-out.
enum class receive_result {
    received,
    nothing_yet, // the time is over
    ended,       // by the peer, in order or not
    no_resources,
};
struct receive_attempt {
    std::size_t size = 0;
    receive_result result = receive_result::nothing_yet;
};
receive_attempt try_to_receive(const socket_handle& socket, std::span<char> buffer,
                               milliseconds timeout, const call_limits& limits = {});
receive_attempt receive_now(const socket_handle& socket, std::span<char> buffer);
// The same for callers that don't need the cause: 0 for an end, a time-out or a failure.
std::size_t receive_some(const socket_handle& socket, std::span<char> buffer, milliseconds timeout,
                         const call_limits& limits = {});

// One datagram from a fresh port of the system's choice.
socket_handle open_datagram_socket();
bool send_datagram(const socket_handle& socket, const socket_address& to, std::string_view bytes);

// A datagram socket that may broadcast, bound to any address and a fresh port.
enum class broadcast_failure { none, not_created, not_bound };
struct broadcast_socket {
    socket_handle socket;
    broadcast_failure failure = broadcast_failure::none;
};
broadcast_socket open_broadcast_socket();

// The next datagram, cut to the buffer. Absent for a time-out or a failure.
struct received_datagram {
    std::size_t size = 0;
    std::optional<std::uint32_t> sender; // IPv4 in host byte order; absent if it is no such address
};
std::optional<received_datagram> receive_datagram(const socket_handle& socket,
                                                  std::span<char> buffer, milliseconds timeout,
                                                  const call_limits& limits = {});
std::optional<received_datagram> receive_datagram_now(const socket_handle& socket,
                                                      std::span<char> buffer);

// An IPv4 address in host byte order as dotted text.
std::string dotted_text(std::uint32_t address);
// The reverse; absent for any other text.
std::optional<std::uint32_t> number_of_dotted(const std::string& dotted);

// Listens on 127.0.0.1. A taken port fails; a port that was just released is free at once.
// Port 0 lets the system choose.
socket_handle listen_on_loopback(std::uint16_t port, int backlog);

// The port of a listening socket; 0 if it isn't one.
std::uint16_t bound_port(const socket_handle& listener);

// The connection that waits at a listener that is readable; an invalid handle if there is none.
socket_handle accept_connection(const socket_handle& listener);

// Connects to a port of 127.0.0.1 and hangs up. False if nobody listens there.
bool knock_on_loopback(std::uint16_t port, milliseconds timeout);

} // namespace elvantris::operator_control
