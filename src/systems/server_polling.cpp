#include "systems/server_polling.hpp"

#include "systems/server_http.hpp"
#include "systems/server_replies.hpp"

#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds identity_timeout{750};
constexpr milliseconds replication_timeout{600};
constexpr std::chrono::seconds longest_exchange{5};
constexpr int failures_that_count = 3;

http_response get(const std::string& host, std::uint16_t web_port, const std::string& path,
                  milliseconds timeout, const call_limits& limits) {
    return http_exchange({.host = host,
                          .port = web_port,
                          .method = "GET",
                          .path = path,
                          .body = {},
                          .content_type = {},
                          .timeout = timeout},
                         limits.within(longest_exchange));
}

std::vector<asking_order::server> askable(const std::vector<system_record>& systems) {
    std::vector<asking_order::server> servers;
    servers.reserve(systems.size());
    for (const system_record& system : systems)
        servers.push_back({.key = system.serial, .address = system.address});
    return servers;
}

} // namespace

std::optional<operator_control_config> fetch_operator_control_config(const std::string& host,
                                                                     std::uint16_t web_port,
                                                                     milliseconds timeout,
                                                                     const call_limits& limits) {
    const http_response reply =
        get(host, web_port, "/Home/GetOperatorControlConfiguration", timeout, limits);
    if (reply.status != 200) return std::nullopt;
    return parse_operator_control_config(reply.body);
}

std::optional<replication_status> fetch_replication_status(const std::string& host,
                                                           std::uint16_t web_port,
                                                           milliseconds timeout,
                                                           const call_limits& limits) {
    const http_response reply =
        get(host, web_port, "/Home/GetOperatorControlReplicationStatus", timeout, limits);
    if (reply.status != 200) return std::nullopt;
    return parse_replication_status(reply.body);
}

bool confirm_server_identity(const std::string& host, std::uint16_t web_port,
                             const std::string& expected_serial, milliseconds timeout,
                             const call_limits& limits) {
    if (host.empty() || web_port == 0 || expected_serial.empty()) return false;
    const http_response reply =
        get(host, web_port, "/Home/GetOperatorControlIdentity", timeout, limits);
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

void ui_ready_counts::keep_only(const std::vector<system_record>& systems) {
    std::map<std::string, int> kept;
    for (const system_record& system : systems)
        if (const auto known = failures_.find(system.serial); known != failures_.end())
            kept.insert(*known);
    failures_ = std::move(kept);
}

void refresh_ui_ready(controller_registry& registry, polling_memory& memory,
                      const call_limits& limits) {
    std::vector<system_record> systems = registry.systems();
    memory.ready_counts.keep_only(systems);
    for (const system_record& system : systems) {
        if (system.online) continue;
        memory.ready_counts.reset(system.serial);
        registry.set_ui_ready(system.serial, false);
    }
    std::erase_if(systems, [](const system_record& system) { return !system.online; });
    memory.identity.ask_each(askable(systems), limits, [&](std::size_t index) {
        const system_record& system = systems[index];
        const bool confirmed = confirm_server_identity(system.address, system.webPort,
                                                       system.serial, identity_timeout, limits);
        if (!confirmed && limits.over()) return;
        if (const auto ready = memory.ready_counts.after_probe(system, confirmed))
            registry.set_ui_ready(system.serial, *ready);
    });
}

void poll_replication(controller_registry& registry, polling_memory& memory,
                      const call_limits& limits) {
    std::vector<system_record> systems = registry.systems();
    for (const system_record& system : systems)
        if (!system.online) registry.clear_replication(system.serial);
    std::erase_if(systems, [](const system_record& system) {
        return !system.online || system.role == system_role::independent;
    });
    memory.replication.ask_each(askable(systems), limits, [&](std::size_t index) {
        const system_record& system = systems[index];
        if (const auto status = fetch_replication_status(system.address, system.webPort,
                                                         replication_timeout, limits))
            registry.set_replication(system.serial, *status);
    });
}

} // namespace elvantris::operator_control
