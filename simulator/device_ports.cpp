#include "device_ports.hpp"

#include <utility>

namespace elvantris::simulator {

namespace {

constexpr std::chrono::minutes longest_silence{10};

} // namespace

device_ports::device_ports(received_messages& messages, stop_signal& stop,
                           const std::string& address, std::uint16_t port)
    : messages_(messages),
      stop_(stop),
      connections_(
          address, port, stop,
          [this](native_socket socket, const endpoint& peer) { take_connection(socket, peer); }),
      datagrams_(bind_udp(address, port)) {
    connections_.open();
    datagram_thread_ = std::thread([this] { take_datagrams(); });
}

device_ports::~device_ports() {
    stop_.raise();
    datagram_thread_.join();
}

void device_ports::set_mode(device_mode mode) {
    const std::lock_guard lock(changing_);
    mode_ = mode;
    if (mode == device_mode::refuse)
        connections_.close();
    else
        connections_.open();
}

void device_ports::take_connection(native_socket socket, const endpoint& peer) {
    if (mode_ == device_mode::never_read) {
        wait_for(socket, socket_event::ended, stop_);
        return;
    }
    std::string bytes;
    bool more = read_more(socket, bytes, longest_silence, stop_);
    // The time of a message is that of its first bytes.
    const auto number =
        messages_.add(transport::tcp, {.from = address_text(peer),
                                       .time_microseconds = wall_clock_microseconds(),
                                       .bytes = bytes});
    while (more) {
        bytes.clear();
        more = read_more(socket, bytes, longest_silence, stop_);
        messages_.append(number, bytes);
    }
    messages_.mark_ended(number);
}

void device_ports::take_datagrams() {
    while (wait_for(datagrams_.get(), socket_event::readable, stop_) == wait_result::ready) {
        std::optional<datagram> received = receive_datagram(datagrams_.get());
        if (!received) continue;
        messages_.add(transport::udp, {.from = address_text(received->from),
                                       .time_microseconds = wall_clock_microseconds(),
                                       .bytes = std::move(received->bytes)});
    }
}

} // namespace elvantris::simulator
