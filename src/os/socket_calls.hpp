// What `sockets.cpp` and the system's own `sockets.cpp` use of each other. Private to this folder.
//
// The types of the system's calls, and how it reports a failure, are in `native_sockets.hpp`, of
// which each system has one.
#pragma once

#include "os/sockets.hpp"

#include "native_sockets.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace elvantris::operator_control {

// Each system has its own:

// Non-blocking, and not inherited by a child process.
socket_handle open_socket(int family, int type, int protocol);
// Of a lookup that gave this error just now.
network_failure lookup_failure(int error);
// Without waiting, cut to the buffer. Absent if there is none.
std::optional<std::size_t> receive_from(const socket_handle& socket, std::span<char> buffer,
                                        sockaddr_in& sender);
// Otherwise one host that refuses a question may make the next receive fail.
void ignore_refusals(const socket_handle& socket);
// A negative result is a failure.
int poll_all(std::span<pollfd> watched, milliseconds timeout);

// The same for both systems:

sockaddr_in loopback_address(std::uint16_t port);
bool switch_on(const socket_handle& socket, int option);
// Binds a socket to the address and listens there.
bool begin_listening(const socket_handle& socket, const sockaddr_in& address, int backlog);

} // namespace elvantris::operator_control
