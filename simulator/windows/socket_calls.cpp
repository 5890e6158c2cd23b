#include "socket_calls.hpp"

#include <mswsock.h>

#include <system_error>

namespace elvantris::simulator {

namespace {

native_socket without_waits(SOCKET socket) {
    u_long on = 1;
    ::ioctlsocket(socket, static_cast<long>(FIONBIO), &on);
    return static_cast<native_socket>(socket);
}

} // namespace

native_socket open_socket(int type) {
    return without_waits(::WSASocketW(AF_INET, type, 0, nullptr, 0,
                                      WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT));
}

native_socket accept_waiting(native_socket listener, sockaddr_in& peer) {
    int size = sizeof peer;
    return without_waits(::accept(of_system(listener), reinterpret_cast<sockaddr*>(&peer), &size));
}

void close_socket(native_socket socket) noexcept {
    ::closesocket(of_system(socket));
}

// As Windows has it by itself: its SO_REUSEADDR would share the port with another program.
void claim_port(native_socket) {}

void ignore_refusals(native_socket socket) {
    BOOL report_refusals = FALSE;
    DWORD unused = 0;
    ::WSAIoctl(of_system(socket), SIO_UDP_CONNRESET, &report_refusals, sizeof report_refusals,
               nullptr, 0, &unused, nullptr, nullptr);
}

pollfd watch(native_socket socket, socket_event event) {
    pollfd result{.fd = of_system(socket), .events = POLLIN, .revents = 0};
    if (event == socket_event::writable) result.events = POLLOUT;
    // Reported whether it is asked for or not.
    if (event == socket_event::ended) result.events = 0;
    return result;
}

int poll_all(std::span<pollfd> watched, int milliseconds) {
    return ::WSAPoll(watched.data(), static_cast<ULONG>(watched.size()), milliseconds);
}

bool was_interrupted() {
    return false;
}

bool would_have_waited() {
    return ::WSAGetLastError() == WSAEWOULDBLOCK;
}

std::string last_error_text() {
    return std::system_category().message(::WSAGetLastError());
}

} // namespace elvantris::simulator
