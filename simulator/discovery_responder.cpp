#include "discovery_responder.hpp"

#include <string_view>

namespace elvantris::simulator {

namespace {

constexpr std::string_view question = "elvantris-server?";
constexpr std::chrono::milliseconds flood_pause{1};

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
    using std::chrono::steady_clock;
    for (;;) {
        const bool flooding = flood_.is_running(steady_clock::now());
        const auto limit = flooding ? std::optional(flood_pause) : std::nullopt;
        const wait_result waited = wait_for(socket_.get(), socket_event::readable, stop_, limit);
        if (waited == wait_result::stopped) return;
        if (waited == wait_result::ready) take_question();
        flood_.send_due(socket_.get(), state_.options().http_port, steady_clock::now());
    }
}

void discovery_responder::take_question() {
    const std::optional<datagram> received = receive_datagram(socket_.get());
    if (!received || received->bytes != question) return;
    // Read first: who sees the request counted may change the switches for the next one.
    const switches broken = state_.broken();
    state_.record_discovery_request();
    answer(received->from, broken);
    flood_.aim(broken.flood, received->from, std::chrono::steady_clock::now());
}

void discovery_responder::answer(const endpoint& asker, const switches& broken) {
    if (broken.discovery_silent) return;
    const server_options& options = state_.options();
    const std::vector<std::string> replies = broken.discovery_replies.value_or(
        std::vector{"elvantris-server!," + std::to_string(options.http_port) + "," +
                    options.workstation + "," + options.serial});
    for (std::int64_t copy = 0; copy < broken.discovery_copies; ++copy) {
        for (const std::string& reply : replies)
            send_datagram(socket_.get(), asker, reply);
    }
}

} // namespace elvantris::simulator
