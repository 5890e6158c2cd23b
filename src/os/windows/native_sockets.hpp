// Windows' sockets, under the names that both systems share.
#pragma once

#include "os/sockets.hpp"

#include <algorithm>
#include <winsock2.h>
#include <ws2tcpip.h>

#include <mswsock.h>

namespace elvantris::operator_control {

using native_length = int;

inline constexpr int connect_goes_on = WSAEWOULDBLOCK;
inline constexpr int send_flags = 0;

inline SOCKET native_of(const socket_handle& socket) {
    return static_cast<SOCKET>(socket.native());
}

inline native_length length_of(std::size_t size) {
    return static_cast<native_length>(std::min<std::size_t>(size, 0x7FFFFFFF));
}

inline int last_socket_error() {
    return ::WSAGetLastError();
}

} // namespace elvantris::operator_control
