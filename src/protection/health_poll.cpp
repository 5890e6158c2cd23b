#include "protection/health_poll.hpp"

#include "os/clock.hpp"
#include "systems/server_http.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds step_timeout{350};
constexpr std::uint64_t health_read_limit = 262'144;
constexpr std::uint64_t identity_read_limit = 4096;

// An interface that goes down while an answer is awaited shows in the time-out alone. To connect a
// datagram socket sends nothing, and still wants a way to the address.
bool cut_off_from(const system_record& system) {
    const auto address = ipv4_address(system.address, system.webPort);
    return address &&
           try_to_connect(*address, milliseconds::zero()).failure == connect_failure::no_network;
}

health_answer failed_poll(const system_record& system, connect_failure failure) {
    if (failure == connect_failure::no_resources) return {.outcome = poll_outcome::no_resources};
    if (failure == connect_failure::no_network || cut_off_from(system))
        return {.outcome = poll_outcome::no_network};
    return {.outcome = poll_outcome::unanswered};
}

health_answer answered_poll(std::optional<server_health> health) {
    if (!health) return {.outcome = poll_outcome::unanswered};
    return {.outcome = poll_outcome::answered, .health = std::move(health)};
}

} // namespace

health_answer ask_health(const system_record& system, std::uint32_t stall_ms,
                         milliseconds longest) {
    const steady_time start = steady_now();
    const auto get = [&](const char* path, std::uint64_t read_limit, milliseconds left) {
        return attempt_exchange_bounded({.host = system.address,
                                         .port = system.webPort,
                                         .method = "GET",
                                         .path = path,
                                         .body = {},
                                         .content_type = {},
                                         .timeout = step_timeout},
                                        read_limit, call_limits{}.within(left));
    };
    const auto [health, failure] = get("/Home/GetVorHealth", health_read_limit, longest);
    if (health.status == 200)
        return answered_poll(read_health_reply(health.body, system.serial, stall_ms, steady_now()));
    if (health.status == 0) return failed_poll(system, failure);
    if (health.status != 404) return {};
    const auto spent = std::chrono::ceil<milliseconds>(steady_now() - start);
    const auto [identity, second_failure] =
        get("/Home/GetOperatorControlIdentity", identity_read_limit,
            std::max(longest - spent, milliseconds::zero()));
    if (identity.status == 200)
        return answered_poll(read_identity_reply(identity.body, system.serial, steady_now()));
    return identity.status == 0 ? failed_poll(system, second_failure) : health_answer{};
}

} // namespace elvantris::operator_control
