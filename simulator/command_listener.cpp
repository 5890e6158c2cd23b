#include "command_listener.hpp"

#include <utility>

namespace elvantris::simulator {

command_listener::command_listener(const std::string& address, std::uint16_t port,
                                   stop_signal& stop, take_command take)
    : take_(std::move(take)),
      stop_(stop),
      socket_(bind_udp(address, port)),
      thread_([this] { run(); }) {}

command_listener::~command_listener() {
    stop_.raise();
    thread_.join();
}

void command_listener::run() {
    while (wait_for(socket_.get(), socket_event::readable, stop_) == wait_result::ready) {
        std::optional<datagram> received = receive_datagram(socket_.get());
        if (!received) continue;
        take_({.from = address_text(received->from),
               .time_microseconds = wall_clock_microseconds(),
               .bytes = std::move(received->bytes)});
    }
}

} // namespace elvantris::simulator
