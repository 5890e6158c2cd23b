#include "protection/health_poll.hpp"

#include "os/clock.hpp"
#include "systems/server_http.hpp"

#include <algorithm>
#include <chrono>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds step_timeout{350};
constexpr std::uint64_t health_read_limit = 262'144;
constexpr std::uint64_t identity_read_limit = 4096;

} // namespace

std::optional<server_health> ask_health(const system_record& system, std::uint32_t stall_ms,
                                        milliseconds longest) {
    const steady_time start = steady_now();
    const auto get = [&](const char* path, std::uint64_t read_limit, milliseconds left) {
        return http_exchange_bounded({.host = system.address,
                                      .port = system.webPort,
                                      .method = "GET",
                                      .path = path,
                                      .body = {},
                                      .content_type = {},
                                      .timeout = step_timeout},
                                     read_limit, left);
    };
    const http_response health = get("/Home/GetVorHealth", health_read_limit, longest);
    if (health.status == 200)
        return read_health_reply(health.body, system.serial, stall_ms, steady_now());
    if (health.status != 404) return std::nullopt;
    const auto spent = std::chrono::ceil<milliseconds>(steady_now() - start);
    const http_response identity = get("/Home/GetOperatorControlIdentity", identity_read_limit,
                                       std::max(longest - spent, milliseconds::zero()));
    if (identity.status != 200) return std::nullopt;
    return read_identity_reply(identity.body, system.serial, steady_now());
}

} // namespace elvantris::operator_control
