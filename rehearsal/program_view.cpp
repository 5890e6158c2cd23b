#include "rehearsal/program_view.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace elvantris::rehearsal {

namespace {

using nlohmann::json;

// The program polls four times a second.
constexpr std::int64_t oldest_good_poll_ms = 1500;
// How the program's notice of a transfer begins if an operator has asked for it.
constexpr std::string_view moved_by_operator = "Operator requested transfer; operating on Backup";

void read_health(seen_server& server, const json& health) {
    const std::int64_t age_ms = health.value("ageMs", std::int64_t{-1});
    server.healthy =
        age_ms >= 0 && age_ms <= oldest_good_poll_ms && health.value("engineRunning", false) &&
        health.value("engineResponsive", false) && !health.value("frameStalled", false);
}

void read_servers(program_view& view, const json& status) {
    for (const json& each : status.at("systems"))
        view.servers.push_back({.serial = each.value("serial", ""),
                                .role = each.value("role", ""),
                                .address = each.value("address", ""),
                                .online = each.value("online", false),
                                .ready = each.value("uiReady", false)});
    for (const json& health : status.at("protection").at("systems")) {
        const auto found =
            std::ranges::find(view.servers, health.value("serial", ""), &seen_server::serial);
        if (found != view.servers.end()) read_health(*found, health);
    }
}

void read_alerts(program_view& view, const json& protection) {
    for (const json& each : protection.at("alerts")) {
        if (!each.value("active", false)) continue;
        const std::string message = each.value("message", "");
        if (message.starts_with(moved_by_operator)) view.moved_by_hand = true;
        if (each.value("severity", "") != "notice")
            view.alerts.push_back(
                {.message = message, .acknowledged = each.value("acknowledged", false)});
    }
}

// As the program's own page says it.
bool is_in_sync(const json& status) {
    std::int64_t revision = 0;
    std::int64_t applied = -1;
    std::int64_t pending = 0;
    for (const json& each : status.at("systems")) {
        const std::string role = each.value("role", "");
        if (role == "Main") revision = each.value("replicationRevision", std::int64_t{0});
        if (role != "Backup") continue;
        applied = each.value("replicationAppliedRevision", std::int64_t{-1});
        pending = each.value("replicationPendingMedia", std::int64_t{0});
    }
    return status.value("policySynchronized", false) && revision > 0 && applied == revision &&
           pending == 0;
}

} // namespace

const seen_server* program_view::find(std::string_view serial) const {
    const auto found = std::ranges::find(servers, serial, &seen_server::serial);
    return found == servers.end() ? nullptr : &*found;
}

const seen_server* program_view::in_role(std::string_view role) const {
    const auto found = std::ranges::find(servers, role, &seen_server::role);
    return found == servers.end() ? nullptr : &*found;
}

bool program_view::is_active(std::string_view role) const {
    const seen_server* server = in_role(role);
    return server != nullptr && server->serial == active_serial;
}

program_view read_status(const std::string& text) try {
    const json status = json::parse(text);
    const json& protection = status.at("protection");
    program_view view{.answers = true,
                      .enabled = status.at("enabled"),
                      .armed = protection.at("armed"),
                      .held_on_backup = protection.at("heldOnBackup"),
                      .active_serial = status.at("activeSerial"),
                      .page_port = status.at("runtimeUiPort"),
                      .in_sync = is_in_sync(status),
                      .config_path = status.value("configPath", "")};
    read_servers(view, status);
    read_alerts(view, protection);
    return view;
} catch (const json::exception&) {
    return {};
}

std::string follow_pair(const std::string& shown, const program_view& view) {
    const bool on_air = view.enabled && (view.is_active("Main") || view.is_active("Backup"));
    return on_air ? view.active_serial : shown;
}

} // namespace elvantris::rehearsal
