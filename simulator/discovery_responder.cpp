#include "discovery_responder.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <string_view>

namespace elvantris::simulator {

namespace {

constexpr std::string_view question = "elvantris-server?";

} // namespace

discovery_responder::discovery_responder(server_state& state, stop_signal& stop)
    : state_(state),
      stop_(stop),
      socket_(bind_udp(state.options().bind_address, state.options().discovery_port)),
      thread_([this] { run(); }) {}

discovery_responder::~discovery_responder() {
    stop_.raise();
    thread_.join();
}

void discovery_responder::run() {
    while (wait_for(socket_.get(), POLLIN, stop_) == wait_result::ready) {
        const std::optional<datagram> received = receive_datagram(socket_.get());
        if (!received || received->bytes != question) continue;
        // Read first: who sees the request counted may change the switches for the next one.
        const switches broken = state_.broken();
        state_.record_discovery_request();
        answer(received->from, broken);
    }
}

void discovery_responder::answer(const sockaddr_in& asker, const switches& broken) {
    if (broken.discovery_silent) return;
    const server_options& options = state_.options();
    const std::vector<std::string> replies = broken.discovery_replies.value_or(
        std::vector{"elvantris-server!," + std::to_string(options.http_port) + "," +
                    options.workstation + "," + options.serial});
    for (std::int64_t copy = 0; copy < broken.discovery_copies; ++copy) {
        for (const std::string& reply : replies)
            ::sendto(socket_.get(), reply.data(), reply.size(), MSG_NOSIGNAL,
                     reinterpret_cast<const sockaddr*>(&asker), sizeof asker);
    }
}

} // namespace elvantris::simulator
