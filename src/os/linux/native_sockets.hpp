// Linux' sockets, under the names that both systems share.
#pragma once

#include "os/sockets.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace elvantris::operator_control {

using native_length = socklen_t;

inline constexpr int connect_goes_on = EINPROGRESS;
inline constexpr int send_flags = MSG_NOSIGNAL;

inline int native_of(const socket_handle& socket) {
    return static_cast<int>(socket.native());
}

inline native_length length_of(std::size_t size) {
    return static_cast<native_length>(size);
}

inline int last_socket_error() {
    return errno;
}

} // namespace elvantris::operator_control
