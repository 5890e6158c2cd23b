#include "discovery_responder.hpp"

#include <algorithm>
#include <string_view>

namespace elvantris::simulator {

namespace {

constexpr std::string_view question = "elvantris-server?";
constexpr std::chrono::milliseconds flood_pause{1};

} // namespace

discovery_responder::discovery_responder(const std::vector<server_state*>& servers,
                                         stop_signal& stop, const std::string& address,
                                         std::uint16_t port)
    : stop_(stop), socket_(bind_udp(address, port)) {
    for (server_state* server : servers)
        servers_.push_back({.state = *server, .flood = {}});
    thread_ = std::thread([this] { run(); });
}

discovery_responder::~discovery_responder() {
    stop_.raise();
    thread_.join();
}

void discovery_responder::run() {
    for (;;) {
        const auto limit = is_flooding() ? std::optional(flood_pause) : std::nullopt;
        const wait_result waited = wait_for(socket_.get(), socket_event::readable, stop_, limit);
        if (waited == wait_result::stopped) return;
        if (waited == wait_result::ready) take_question();
        for (answering_server& each : servers_)
            each.flood.send_due(socket_.get(), each.state.options().http_port,
                                std::chrono::steady_clock::now());
    }
}

bool discovery_responder::is_flooding() const {
    const auto now = std::chrono::steady_clock::now();
    return std::ranges::any_of(
        servers_, [now](const answering_server& each) { return each.flood.is_running(now); });
}

void discovery_responder::take_question() {
    const std::optional<datagram> received = receive_datagram(socket_.get());
    if (!received || received->bytes != question) return;
    for (answering_server& each : servers_)
        answer(each, received->from);
}

void discovery_responder::answer(answering_server& server, const endpoint& asker) {
    const server_options& options = server.state.options();
    if (!options.answers(asker)) return;
    // Read first: who sees the request counted may change the switches for the next one.
    const switches broken = server.state.broken();
    if (!broken.cable_plugged) return;
    server.state.record_discovery_request();
    if (!broken.discovery_silent) send_replies(options, asker, broken);
    server.flood.aim(broken.flood, asker, std::chrono::steady_clock::now());
}

void discovery_responder::send_replies(const server_options& options, const endpoint& asker,
                                       const switches& broken) const {
    const std::vector<std::string> replies = broken.discovery_replies.value_or(
        std::vector{"elvantris-server!," + std::to_string(options.http_port) + "," +
                    options.workstation + "," + options.serial});
    for (std::int64_t copy = 0; copy < broken.discovery_copies; ++copy) {
        for (const std::string& reply : replies)
            send_datagram(socket_.get(), asker, reply);
    }
}

} // namespace elvantris::simulator
