#include "socket_calls.hpp"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace elvantris::simulator {

native_socket open_socket(int type) {
    return ::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

native_socket accept_waiting(native_socket listener, sockaddr_in& peer) {
    socklen_t size = sizeof peer;
    return ::accept4(of_system(listener), reinterpret_cast<sockaddr*>(&peer), &size,
                     SOCK_CLOEXEC | SOCK_NONBLOCK);
}

void close_socket(native_socket socket) noexcept {
    ::close(of_system(socket));
}

void claim_port(native_socket socket) {
    const int on = 1;
    ::setsockopt(of_system(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

// Linux reports them to a connected socket alone.
void ignore_refusals(native_socket) {}

pollfd watch(native_socket socket, socket_event event) {
    pollfd result{.fd = of_system(socket), .events = POLLIN, .revents = 0};
    if (event == socket_event::writable) result.events = POLLOUT;
    if (event == socket_event::ended) result.events = POLLRDHUP;
    return result;
}

int poll_all(std::span<pollfd> watched, int milliseconds) {
    return ::poll(watched.data(), watched.size(), milliseconds);
}

bool was_interrupted() {
    return errno == EINTR;
}

bool would_have_waited() {
    return errno == EAGAIN || errno == EINPROGRESS;
}

std::string last_error_text() {
    return std::generic_category().message(errno);
}

} // namespace elvantris::simulator
