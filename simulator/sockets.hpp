// IPv4 sockets: opening the ports, and reading and writing with an end to every wait.
#pragma once

#include "stop_signal.hpp"

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace elvantris::simulator {

// Owns one descriptor.
class file_descriptor {
public:
    file_descriptor() = default;
    explicit file_descriptor(int descriptor) : descriptor_(descriptor) {}
    ~file_descriptor();
    file_descriptor(file_descriptor&& other) noexcept;
    file_descriptor& operator=(file_descriptor&& other) noexcept;
    file_descriptor(const file_descriptor&) = delete;
    file_descriptor& operator=(const file_descriptor&) = delete;

    int get() const noexcept { return descriptor_; }
    bool is_open() const noexcept { return descriptor_ >= 0; }

private:
    int descriptor_ = -1;
};

// A port could not be opened; the text is one line for the person who started the program.
struct port_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Both give non-blocking sockets and throw port_error, also when the port is taken.
file_descriptor listen_tcp(const std::string& address, std::uint16_t port);
file_descriptor bind_udp(const std::string& address, std::uint16_t port);

// Blocks for at most `limit`; an empty descriptor means that the peer could not be reached.
file_descriptor connect_tcp(const std::string& address, std::uint16_t port,
                            std::chrono::milliseconds limit, const stop_signal& stop);

// "10.77.0.10:40312"
std::string address_text(const sockaddr_in& address);

// False: the peer left, took nothing for ten seconds, or the stop came.
bool send_all(int descriptor, std::string_view bytes, const stop_signal& stop);

// Appends what has arrived, up to 64 KiB. False: the peer has closed, the limit has passed with
// nothing read, or the stop came.
bool read_more(int descriptor, std::string& text, std::chrono::milliseconds limit,
               const stop_signal& stop);

// One waiting datagram; nothing if none was there after all.
struct datagram {
    sockaddr_in from{};
    std::string bytes;
};
std::optional<datagram> receive_datagram(int descriptor);

// The peer is to see a reset in place of an orderly end when the descriptor is closed.
void reset_when_closed(int descriptor);

} // namespace elvantris::simulator
