#include "systems/server_polling.hpp"

#include "systems/server_http.hpp"
#include "systems/server_replies.hpp"

namespace elvantris::operator_control {
namespace {

constexpr milliseconds identity_timeout{750};
constexpr milliseconds replication_timeout{600};
constexpr int failures_that_count = 3;

http_response get(const std::string& host, std::uint16_t web_port, const std::string& path,
                  milliseconds timeout) {
    return http_exchange({.host = host,
                          .port = web_port,
                          .method = "GET",
                          .path = path,
                          .body = {},
                          .content_type = {},
                          .timeout = timeout});
}

} // namespace

std::optional<operator_control_config> fetch_operator_control_config(const std::string& host,
                                                                     std::uint16_t web_port,
                                                                     milliseconds timeout) {
    const http_response reply =
        get(host, web_port, "/Home/GetOperatorControlConfiguration", timeout);
    if (reply.status != 200) return std::nullopt;
    return parse_operator_control_config(reply.body);
}

std::optional<replication_status>
fetch_replication_status(const std::string& host, std::uint16_t web_port, milliseconds timeout) {
    const http_response reply =
        get(host, web_port, "/Home/GetOperatorControlReplicationStatus", timeout);
    if (reply.status != 200) return std::nullopt;
    return parse_replication_status(reply.body);
}

bool confirm_server_identity(const std::string& host, std::uint16_t web_port,
                             const std::string& expected_serial, milliseconds timeout) {
    if (host.empty() || web_port == 0 || expected_serial.empty()) return false;
    const http_response reply = get(host, web_port, "/Home/GetOperatorControlIdentity", timeout);
    return reply.status == 200 && parse_identity_serial(reply.body) == expected_serial;
}

std::optional<bool> ui_ready_counts::after_probe(const system_record& system, bool confirmed) {
    int& failures = failures_[system.serial];
    if (confirmed) {
        failures = 0;
        return true;
    }
    // A count that stays at its limit can't overflow over a season of outages.
    if (failures < failures_that_count) ++failures;
    if (system.uiReady && failures < failures_that_count) return std::nullopt;
    return false;
}

void refresh_ui_ready(controller_registry& registry) {
    static ui_ready_counts counts;
    for (const system_record& system : registry.systems()) {
        if (!system.online) {
            counts.reset(system.serial);
            registry.set_ui_ready(system.serial, false);
            continue;
        }
        const bool confirmed = confirm_server_identity(system.address, system.webPort,
                                                       system.serial, identity_timeout);
        if (const auto ready = counts.after_probe(system, confirmed))
            registry.set_ui_ready(system.serial, *ready);
    }
}

void poll_replication(controller_registry& registry) {
    for (const system_record& system : registry.systems()) {
        if (!system.online) {
            registry.clear_replication(system.serial);
            continue;
        }
        if (system.role == system_role::independent) continue;
        if (const auto status =
                fetch_replication_status(system.address, system.webPort, replication_timeout))
            registry.set_replication(system.serial, *status);
    }
}

} // namespace elvantris::operator_control
