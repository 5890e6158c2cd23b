#include "tool/program_metrics.hpp"

#include "systems/server_choice.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace elvantris::operator_control {
namespace {

constexpr double milliseconds_in_a_second = 1000;

using families = std::vector<metric_family>;
using sample_labels = std::vector<std::pair<std::string_view, std::string>>;

metric_family gauge(std::string_view name, std::string_view help, double value) {
    return {.name = name,
            .help = help,
            .kind = metric_kind::gauge,
            .samples = {{.labels = {}, .value = value}}};
}

double flag(bool value) {
    return value ? 1 : 0;
}

double in_seconds(std::int64_t duration_ms) {
    return static_cast<double>(duration_ms) / milliseconds_in_a_second;
}

// Only a transfer raises a notice.
bool is_transfer(const alert_record& alert) {
    return alert.severity == alert_severity::notice;
}

metric_family active_side(const program_status& status) {
    metric_family family{.name = "elvantris_active_side",
                         .help = "1 for the side on which operation is, 0 for the others.",
                         .kind = metric_kind::gauge,
                         .samples = {}};
    for (const char* side : {"main", "backup", "independent", "none"})
        family.samples.push_back(
            {.labels = {{"side", side}}, .value = flag(status.active == side)});
    return family;
}

void add_pair(families& all, const program_status& status) {
    all.push_back(gauge("elvantris_pair_enabled", "Whether the pair is enabled.",
                        flag(status.registry.enabled)));
    all.push_back(gauge("elvantris_failover_armed", "Whether automatic failover is armed.",
                        flag(status.protection.policy.armed)));
    all.push_back(gauge("elvantris_held_on_backup",
                        "Whether operation is held on Backup until an operator returns it.",
                        flag(status.protection.held_on_backup)));
    all.push_back(gauge("elvantris_commands_running",
                        "Whether outbound commands are being sent. No transfer happens meanwhile.",
                        flag(status.protection.actions_busy)));
    all.push_back(gauge("elvantris_pairing_synchronized",
                        "Whether the pairing is in the event of Main.",
                        flag(status.registry.policySynchronized)));
    all.push_back(active_side(status));
}

// What the program knows of one server of the pair.
struct seen_server {
    std::string_view side;
    const system_record& system;
    const shown_server* health; // null before the first poll

    sample_labels labels() const {
        return {{"side", std::string(side)}, {"serial", system.serial}};
    }
    bool answered() const { return health != nullptr && health->age_ms >= 0; }
};

std::vector<seen_server> servers_of(const program_status& status) {
    const auto& systems = status.registry.systems;
    std::vector<seen_server> servers;
    const auto add = [&](std::string_view side, const system_record* system) {
        if (system == nullptr) return;
        const auto& polled = status.protection.servers;
        const auto found = std::ranges::find(polled, system->serial, &shown_server::serial);
        servers.push_back({side, *system, found == polled.end() ? nullptr : &*found});
    };
    add("main", first_main(systems));
    add("backup", backup_of_pair(systems));
    return servers;
}

metric_family server_info(const std::vector<seen_server>& servers) {
    metric_family family{.name = "elvantris_server_info",
                         .help = "Always 1. Which server is on which side, and where it is.",
                         .kind = metric_kind::gauge,
                         .samples = {}};
    for (const seen_server& server : servers) {
        sample_labels labels = server.labels();
        labels.emplace_back("workstation", server.system.workstation);
        labels.emplace_back("address", server.system.address);
        family.samples.push_back({.labels = std::move(labels), .value = 1});
    }
    return family;
}

struct server_figure {
    std::string_view name;
    std::string_view help;
    double (*value)(const seen_server&);
    bool needs_answer; // without one there is no figure
};

constexpr std::array server_figures{
    server_figure{"elvantris_server_online", "Whether the last search for servers found it.",
                  [](const seen_server& each) { return flag(each.system.online); }, false},
    server_figure{"elvantris_server_answered",
                  "Whether any health poll of this server has succeeded yet.",
                  [](const seen_server& each) { return flag(each.answered()); }, false},
    server_figure{"elvantris_server_answer_age_seconds", "Time since the last good health poll.",
                  [](const seen_server& each) { return in_seconds(each.health->age_ms); }, true},
    server_figure{"elvantris_server_health_supported",
                  "Whether the server is new enough to report its health.",
                  [](const seen_server& each) { return flag(each.health->supported); }, true},
    server_figure{"elvantris_server_engine_running",
                  "Whether the engine ran at the last good health poll.",
                  [](const seen_server& each) { return flag(each.health->engine_running); }, true},
    server_figure{"elvantris_server_engine_responsive",
                  "Whether the engine responded at the last good health poll.",
                  [](const seen_server& each) { return flag(each.health->engine_responsive); },
                  true},
    server_figure{"elvantris_server_telemetry_available",
                  "Whether the server reported frames and outputs at the last good health poll.",
                  [](const seen_server& each) { return flag(each.health->telemetry_available); },
                  true},
    server_figure{"elvantris_server_frames_stalled",
                  "Whether a channel made no frames at the last good health poll.",
                  [](const seen_server& each) { return flag(each.health->frame_stalled); }, true},
};

void add_servers(families& all, const program_status& status) {
    const std::vector<seen_server> servers = servers_of(status);
    all.push_back(server_info(servers));
    for (const server_figure& figure : server_figures) {
        metric_family family{
            .name = figure.name, .help = figure.help, .kind = metric_kind::gauge, .samples = {}};
        for (const seen_server& server : servers)
            if (server.answered() || !figure.needs_answer)
                family.samples.push_back(
                    {.labels = server.labels(), .value = figure.value(server)});
        all.push_back(std::move(family));
    }
}

metric_family active_alerts(const std::deque<alert_record>& alerts) {
    constexpr std::array severities{std::pair{"critical", alert_severity::critical},
                                    std::pair{"warning", alert_severity::warning},
                                    std::pair{"notice", alert_severity::notice}};
    metric_family family{.name = "elvantris_active_alerts",
                         .help = "Alerts that are active now. A notice tells of the last transfer.",
                         .kind = metric_kind::gauge,
                         .samples = {}};
    for (const auto& [word, shown] : severities) {
        const auto count = std::ranges::count_if(alerts, [severity = shown](const auto& alert) {
            return alert.active && alert.severity == severity;
        });
        family.samples.push_back(
            {.labels = {{"severity", word}}, .value = static_cast<double>(count)});
    }
    return family;
}

metric_family last_transfer(const std::deque<alert_record>& alerts) {
    metric_family family{.name = "elvantris_last_transfer_timestamp_seconds",
                         .help = "When operation last moved, in seconds since 1970. Absent before "
                                 "the first transfer since the program's start.",
                         .kind = metric_kind::gauge,
                         .samples = {}};
    for (const alert_record& alert : alerts)
        // The oldest is first.
        if (is_transfer(alert))
            family.samples = {{.labels = {}, .value = in_seconds(alert.started)}};
    return family;
}

void add_events(families& all, const program_status& status, std::uint64_t transfers) {
    const std::deque<alert_record>& alerts = status.protection.alerts;
    all.push_back(active_alerts(alerts));
    all.push_back({.name = "elvantris_transfers_total",
                   .help = "Transfers in either direction that the exporter has learnt of.",
                   .kind = metric_kind::counter,
                   .samples = {{.labels = {}, .value = static_cast<double>(transfers)}}});
    all.push_back(last_transfer(alerts));
}

} // namespace

void transfer_counter::see(const protection_snapshot& protection) {
    std::set<notice> present;
    for (const alert_record& alert : protection.alerts)
        if (is_transfer(alert)) present.emplace(alert.id, alert.started);
    count_ += static_cast<std::uint64_t>(std::ranges::count_if(
        present, [this](const notice& each) { return !seen_.contains(each); }));
    seen_ = std::move(present);
}

std::vector<metric_family> metrics_of(const std::optional<program_status>& status,
                                      std::uint64_t transfers, std::string_view version) {
    families all;
    all.push_back(gauge("elvantris_up", "Whether the program runs and gives its status.",
                        flag(status.has_value())));
    if (!status) return all;
    all.push_back({.name = "elvantris_exporter_info",
                   .help = "Always 1. The version of the exporter.",
                   .kind = metric_kind::gauge,
                   .samples = {{.labels = {{"version", std::string(version)}}, .value = 1}}});
    add_pair(all, *status);
    add_servers(all, *status);
    add_events(all, *status, transfers);
    all.push_back(gauge("elvantris_decks", "Stream Decks that the program sees.",
                        static_cast<double>(status->decks.size())));
    return all;
}

} // namespace elvantris::operator_control
