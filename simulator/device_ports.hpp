// The port that an outside device is commanded on, over TCP and UDP.
#pragma once

#include "connection_server.hpp"
#include "received_messages.hpp"

#include <atomic>
#include <mutex>
#include <thread>

namespace elvantris::simulator {

enum class device_mode { accept, refuse, never_read };

class device_ports {
public:
    // Opens both. Throws port_error. Datagrams are taken in every mode.
    device_ports(received_messages& messages, stop_signal& stop, const std::string& address,
                 std::uint16_t port);
    ~device_ports();
    device_ports(const device_ports&) = delete;
    device_ports& operator=(const device_ports&) = delete;
    device_ports(device_ports&&) = delete;
    device_ports& operator=(device_ports&&) = delete;

    device_mode mode() const noexcept { return mode_; }
    // For the connections to come. Throws port_error if the port cannot be opened again.
    void set_mode(device_mode mode);

private:
    void take_connection(native_socket socket, const endpoint& peer);
    void take_datagrams();

    received_messages& messages_;
    stop_signal& stop_;
    std::atomic<device_mode> mode_ = device_mode::accept;
    std::mutex changing_; // one change of the mode at a time, from the word to the port
    connection_server connections_;
    socket_handle datagrams_;
    std::thread datagram_thread_;
};

} // namespace elvantris::simulator
