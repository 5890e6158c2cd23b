// What the sockets need of the system and `linux/` and `windows/` each have a body for. The
// names of the systems' own calls, which are mostly the same, come with `native_sockets.hpp`.
#pragma once

#include "sockets.hpp"

#include "native_sockets.hpp"

#include <span>
#include <string>
#include <string_view>

namespace elvantris::simulator {

// Of the system:

// Non-blocking, and not inherited by a child process. `no_socket` if there is none.
native_socket open_socket(int type);
native_socket accept_waiting(native_socket listener, sockaddr_in& peer);
void close_socket(native_socket socket) noexcept;
// A port that was closed a moment ago can be opened again, and one in use can't.
void claim_port(native_socket socket);
// Otherwise an asker that has gone makes the next receive fail.
void ignore_refusals(native_socket socket);

pollfd watch(native_socket socket, socket_event event);
// A negative result is a failure; negative milliseconds wait for ever.
int poll_all(std::span<pollfd> watched, int milliseconds);

// Of the last call that failed on this thread:
bool was_interrupted();
bool would_have_waited(); // a connection under way counts
std::string last_error_text();

// Of both:

// What the socket took, negative for a failure.
std::int64_t send_now(native_socket socket, std::string_view bytes) noexcept;
// A datagram socket that is bound.
void connect_to_itself(native_socket socket);

} // namespace elvantris::simulator
