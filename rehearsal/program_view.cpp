#include "rehearsal/program_view.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace elvantris::rehearsal {

namespace {

using nlohmann::json;

// The program polls four times a second.
constexpr std::int64_t oldest_good_poll_ms = 1500;

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
    for (const json& each : protection.at("alerts"))
        if (each.value("active", false) && each.value("severity", "") != "notice")
            view.alerts.push_back({.message = each.value("message", ""),
                                   .acknowledged = each.value("acknowledged", false)});
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
                      .page_port = status.at("runtimeUiPort")};
    read_servers(view, status);
    read_alerts(view, protection);
    return view;
} catch (const json::exception&) {
    return {};
}

} // namespace elvantris::rehearsal
