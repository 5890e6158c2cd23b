// Windows' sockets, under the names that both systems share.
#pragma once

#include "socket_handle.hpp"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstddef>

namespace elvantris::simulator {

using address_size = int;

inline constexpr int send_flags = 0;

// INVALID_SOCKET has all bits set, as has our no_socket.
inline SOCKET of_system(native_socket socket) {
    return static_cast<SOCKET>(socket);
}

inline int length_of(std::size_t size) {
    return static_cast<int>(size < 0x100000 ? size : 0x100000);
}

} // namespace elvantris::simulator
