// Linux' sockets, under the names that both systems share.
#pragma once

#include "socket_handle.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstddef>

namespace elvantris::simulator {

using address_size = socklen_t;

inline constexpr int send_flags = MSG_NOSIGNAL;

inline int of_system(native_socket socket) {
    return static_cast<int>(socket);
}

inline std::size_t length_of(std::size_t size) {
    return size;
}

} // namespace elvantris::simulator
