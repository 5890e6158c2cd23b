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

health_answer failed_poll(network_failure failure) {
    switch (failure) {
    case network_failure::no_resources:
        return {.outcome = poll_outcome::no_resources};
    case network_failure::no_network:
        return {.outcome = poll_outcome::no_network};
    case network_failure::none:
    case network_failure::unanswered:
        break;
    }
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
    if (health.status == 0) return failed_poll(failure);
    if (health.status != 404) return {};
    const auto spent = std::chrono::ceil<milliseconds>(steady_now() - start);
    const auto [identity, second_failure] =
        get("/Home/GetOperatorControlIdentity", identity_read_limit,
            std::max(longest - spent, milliseconds::zero()));
    if (identity.status == 200)
        return answered_poll(read_identity_reply(identity.body, system.serial, steady_now()));
    return identity.status == 0 ? failed_poll(second_failure) : health_answer{};
}

} // namespace elvantris::operator_control
