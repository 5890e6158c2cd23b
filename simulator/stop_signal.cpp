#include "stop_signal.hpp"

#include "socket_calls.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <span>

namespace elvantris::simulator {

namespace {

using clock = std::chrono::steady_clock;

int milliseconds_left(std::optional<clock::time_point> deadline) {
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

// The stop first; without a socket the stop alone.
wait_result wait_for_any(std::span<pollfd> watched,
                         std::optional<std::chrono::milliseconds> limit) {
    std::optional<clock::time_point> deadline;
    if (limit) deadline = clock::now() + *limit;
    for (;;) {
        const int count = poll_all(watched, milliseconds_left(deadline));
        if (watched.front().revents != 0 && count > 0) return wait_result::stopped;
        if (count > 0) return wait_result::ready;
        if (count == 0) return wait_result::timed_out;
        if (!was_interrupted()) throw port_error("cannot wait: " + last_error_text());
    }
}

pollfd until_stopped(const stop_signal& stop) {
    return watch(stop.socket(), socket_event::readable);
}

} // namespace

stop_signal::stop_signal() : socket_(bind_udp("127.0.0.1", 0)) {
    connect_to_itself(socket_.get());
}

void stop_signal::raise() noexcept {
    send_now(socket_.get(), ".");
}

wait_result wait_for(native_socket socket, socket_event event, const stop_signal& stop,
                     std::optional<std::chrono::milliseconds> limit) {
    std::array<pollfd, 2> watched{until_stopped(stop), watch(socket, event)};
    return wait_for_any(watched, limit);
}

bool pause_for(std::chrono::milliseconds duration, const stop_signal& stop) {
    std::array<pollfd, 1> watched{until_stopped(stop)};
    return wait_for_any(watched, duration) != wait_result::stopped;
}

} // namespace elvantris::simulator
