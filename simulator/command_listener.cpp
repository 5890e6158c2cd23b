#include "command_listener.hpp"

#include <utility>

namespace elvantris::simulator {

command_listener::command_listener(std::vector<server_state*> servers, stop_signal& stop,
                                   const std::string& address, std::uint16_t port)
    : servers_(std::move(servers)),
      stop_(stop),
      socket_(bind_udp(address, port)),
      thread_([this] { run(); }) {}

command_listener::~command_listener() {
    stop_.raise();
    thread_.join();
}

void command_listener::run() {
    while (wait_for(socket_.get(), socket_event::readable, stop_) == wait_result::ready) {
        const std::optional<datagram> received = receive_datagram(socket_.get());
        if (!received) continue;
        for (server_state* server : servers_)
            server->record_command({.from = address_text(received->from),
                                    .time_microseconds = wall_clock_microseconds(),
                                    .bytes = received->bytes});
    }
}

} // namespace elvantris::simulator
