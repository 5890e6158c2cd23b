// IPv4 sockets: opening the ports, and reading and writing with an end to every wait.
#pragma once

#include "stop_signal.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace elvantris::simulator {

// A host and a port of it.
struct endpoint {
    std::uint32_t address = 0; // host byte order
    std::uint16_t port = 0;
};

// A port could not be opened; the text is one line for the person who started the program.
struct port_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Both give non-blocking sockets and throw port_error, also when the port is taken. Port 0 takes
// any free one.
socket_handle listen_tcp(const std::string& address, std::uint16_t port);
socket_handle bind_udp(const std::string& address, std::uint16_t port);

// The connection that waits at the listener; an empty handle if there is none.
socket_handle accept_connection(native_socket listener, endpoint& peer);

// Blocks for at most `limit`; an empty handle means that the peer could not be reached.
socket_handle connect_tcp(const std::string& address, std::uint16_t port,
                          std::chrono::milliseconds limit, const stop_signal& stop);

// "10.77.0.10" and "10.77.0.10:40312"
std::string address_text(std::uint32_t address);
std::string address_text(const endpoint& place);

// False: the peer left, took nothing for ten seconds, or the stop came.
bool send_all(native_socket socket, std::string_view bytes, const stop_signal& stop);

// Appends what has arrived, up to 64 KiB. False: the peer has closed, the limit has passed with
// nothing read, or the stop came.
bool read_more(native_socket socket, std::string& text, std::chrono::milliseconds limit,
               const stop_signal& stop);

// One waiting datagram; nothing if none was there after all.
struct datagram {
    endpoint from;
    std::string bytes;
};
std::optional<datagram> receive_datagram(native_socket socket);
// What the system refuses is lost.
void send_datagram(native_socket socket, const endpoint& to, std::string_view bytes);

// The peer is to see a reset in place of an orderly end when the socket is closed.
void reset_when_closed(native_socket socket);

} // namespace elvantris::simulator
