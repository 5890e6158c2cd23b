#include "sockets.hpp"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

namespace elvantris::simulator {

namespace {

constexpr int backlog = 64;
constexpr std::chrono::seconds longest_send_wait{10};
constexpr std::size_t read_size = 65536;

sockaddr_in socket_address(const std::string& address, std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &result.sin_addr) != 1)
        throw port_error("not an IPv4 address: " + address);
    return result;
}

port_error cannot_open(const char* kind, const std::string& address, std::uint16_t port) {
    return port_error(std::string("cannot open ") + kind + " port " + std::to_string(port) +
                      " on " + address + ": " + std::generic_category().message(errno));
}

void set_option(int descriptor, int level, int name, int value) {
    ::setsockopt(descriptor, level, name, &value, sizeof value);
}

} // namespace

file_descriptor::~file_descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

file_descriptor::file_descriptor(file_descriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

file_descriptor& file_descriptor::operator=(file_descriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
}

file_descriptor listen_tcp(const std::string& address, std::uint16_t port) {
    const sockaddr_in where = socket_address(address, port);
    file_descriptor result(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // Without it a port that was closed a moment ago could not be opened again.
    set_option(result.get(), SOL_SOCKET, SO_REUSEADDR, 1);
    // Accepted connections inherit this.
    set_option(result.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    if (::bind(result.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 ||
        ::listen(result.get(), backlog) != 0)
        throw cannot_open("TCP", address, port);
    return result;
}

file_descriptor bind_udp(const std::string& address, std::uint16_t port) {
    const sockaddr_in where = socket_address(address, port);
    file_descriptor result(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // A burst of commands must not be lost here: the tests count them.
    set_option(result.get(), SOL_SOCKET, SO_RCVBUF, 4 * 1024 * 1024);
    if (::bind(result.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0)
        throw cannot_open("UDP", address, port);
    return result;
}

file_descriptor connect_tcp(const std::string& address, std::uint16_t port,
                            std::chrono::milliseconds limit, const stop_signal& stop) {
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(port);
    if (::inet_pton(AF_INET, address.c_str(), &where.sin_addr) != 1) return {};
    file_descriptor result(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    set_option(result.get(), IPPROTO_TCP, TCP_NODELAY, 1);
    if (::connect(result.get(), reinterpret_cast<const sockaddr*>(&where), sizeof where) == 0)
        return result;
    if (errno != EINPROGRESS) return {};
    if (wait_for(result.get(), POLLOUT, stop, limit) != wait_result::ready) return {};
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(result.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error != 0) return {};
    return result;
}

std::string address_text(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

bool send_all(int descriptor, std::string_view bytes, const stop_signal& stop) {
    while (!bytes.empty()) {
        if (wait_for(descriptor, POLLOUT, stop, longest_send_wait) != wait_result::ready)
            return false;
        const ssize_t sent = ::send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
        if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    }
    return true;
}

bool read_more(int descriptor, std::string& text, std::chrono::milliseconds limit,
               const stop_signal& stop) {
    std::vector<char> buffer(read_size);
    for (;;) {
        if (wait_for(descriptor, POLLIN, stop, limit) != wait_result::ready) return false;
        const ssize_t count = ::recv(descriptor, buffer.data(), buffer.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count <= 0) return false;
        text.append(buffer.data(), static_cast<std::size_t>(count));
        return true;
    }
}

std::optional<datagram> receive_datagram(int descriptor) {
    datagram result{.from = {}, .bytes = std::string(read_size, '\0')};
    socklen_t size = sizeof result.from;
    const ssize_t count = ::recvfrom(descriptor, result.bytes.data(), result.bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&result.from), &size);
    if (count < 0) return std::nullopt;
    result.bytes.resize(static_cast<std::size_t>(count));
    return result;
}

void reset_when_closed(int descriptor) {
    const linger at_once{.l_onoff = 1, .l_linger = 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

} // namespace elvantris::simulator
