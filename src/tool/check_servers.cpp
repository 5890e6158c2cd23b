#include "protection/alert_texts.hpp"
#include "protection/evaluation.hpp"
#include "systems/server_choice.hpp"
#include "tool/check_rules.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

// The ages in the status are counted back from here.
constexpr steady_time moment_of_status{std::chrono::hours(1'000'000)};
constexpr milliseconds oldest_age{std::chrono::hours(500'000)};

bool is_active(const protection_snapshot& protection, std::string_view message) {
    return std::ranges::any_of(protection.alerts, [&](const alert_record& alert) {
        return alert.active && alert.message == message;
    });
}

// In the form that protection's rules take. The status doesn't say whether the engine is starting
// or the clock is locked; a lost clock is known from its alert.
server_health health_of(const shown_server& shown, bool clock_fault) {
    server_health health;
    health.reachable = shown.age_ms >= 0;
    health.supported = shown.supported;
    health.engineRunning = shown.engine_running;
    health.engineResponsive = shown.engine_responsive;
    health.telemetryAvailable = shown.telemetry_available;
    health.frameStalled = shown.frame_stalled;
    health.clockFault = clock_fault;
    health.lastSeen =
        moment_of_status - std::clamp(milliseconds(shown.age_ms), milliseconds{}, oldest_age);
    health.outputs = shown.outputs;
    health.available_outputs = read_output_states(shown.outputs);
    return health;
}

// What the program calls the condition that closes a gate; empty for those without an alert.
std::string_view condition_of(readiness_gate gate) {
    switch (gate) {
    case readiness_gate::not_polled:
    case readiness_gate::not_answering:
    case readiness_gate::answer_too_old:
        return "server";
    case readiness_gate::health_unknown:
    case readiness_gate::telemetry_missing:
        return "telemetry";
    case readiness_gate::engine_stopped:
        return "engine";
    case readiness_gate::engine_unresponsive:
        return "responsive";
    case readiness_gate::frames_stalled:
        return "frames";
    case readiness_gate::clock_fault:
        return "clock";
    case readiness_gate::none:
    case readiness_gate::engine_starting:
    case readiness_gate::output_missing:
    case readiness_gate::out_of_sync:
        return "";
    }
    return "";
}

std::string message_of(std::string_view condition) {
    for (const fault_condition& each : server_conditions({}, {}, moment_of_status))
        if (each.name.words == condition) return each.message.written();
    return "";
}

// What the program says of an output that this rule names and the server doesn't have.
std::string message_of_output(pair_side side, const output_rule& rule) {
    const auto condition = output_condition(side, rule, {}, {}, moment_of_status);
    return condition ? condition->message.written() : "";
}

struct gate_words {
    std::string reason;
    std::string advice;
};

gate_words words_of(readiness_gate gate, const system_record& system, const std::string& output) {
    switch (gate) {
    case readiness_gate::none:
        return {};
    case readiness_gate::not_polled:
        return {"it has not been polled yet", "Wait a few seconds and check again."};
    case readiness_gate::not_answering:
    case readiness_gate::answer_too_old:
        return {"it does not answer", "Is it on? Is its cable in? Does http://" + system.address +
                                          ':' + std::to_string(system.webPort) + "/ open?"};
    case readiness_gate::health_unknown:
        return {"it is too old to report its health", "Update that server."};
    case readiness_gate::engine_stopped:
        return {"its engine has stopped", "Start the engine on that server."};
    case readiness_gate::engine_unresponsive:
        return {"its engine does not respond",
                "Look at that server; restart its engine if it stays so."};
    case readiness_gate::engine_starting:
        return {"its engine is still starting", "Wait, and check again."};
    case readiness_gate::telemetry_missing:
        return {"it reports no frames and outputs", "Update that server and its engine."};
    case readiness_gate::frames_stalled:
        return {"one of its channels makes no frames", "Look at the channels of that server."};
    case readiness_gate::clock_fault:
        return {"its external clock is unavailable or unlocked",
                "Check the clock's source and cable."};
    case readiness_gate::output_missing:
        return {"its protected output " + output + " is not there",
                "Check display, cable and extender. If it was removed on purpose, remove the "
                "rule."};
    case readiness_gate::out_of_sync:
        return {"its show or media is behind Main's",
                "Wait. If it stays so, look at the replication on Backup."};
    }
    return {};
}

// One server of the pair, with all that is needed to judge it.
struct judged_server {
    pair_side side;
    const char* name; // "Main" or "Backup"
    const system_record& system;
    const protection_snapshot& protection;
    std::optional<server_health> health;
    readiness_gate gate;

    std::string alert(const std::string& message) const {
        return std::string(name) + ": " + message;
    }
    const std::string& id_in(const output_rule& rule) const {
        return side == pair_side::main ? rule.mainId : rule.backupId;
    }
};

judged_server judge(pair_side side, const system_record& system, const system_record& main,
                    const protection_snapshot& protection) {
    judged_server server{.side = side,
                         .name = side == pair_side::main ? "Main" : "Backup",
                         .system = system,
                         .protection = protection,
                         .health = {},
                         .gate = readiness_gate::none};
    const auto shown = std::ranges::find(protection.servers, system.serial, &shown_server::serial);
    if (shown != protection.servers.end())
        server.health = health_of(*shown, is_active(protection, server.alert(message_of("clock"))));
    server.gate = closed_gate(protection.policy, system, server.health ? &*server.health : nullptr,
                              main, moment_of_status);
    return server;
}

bool is_silent(const judged_server& server) {
    return server.gate == readiness_gate::not_answering ||
           server.gate == readiness_gate::answer_too_old;
}

finding gate_finding(const judged_server& server, const std::string& lack) {
    const std::string* const output =
        server.gate == readiness_gate::output_missing
            ? missing_output(server.protection.policy, server.system, *server.health)
            : nullptr;
    const gate_words words = words_of(server.gate, server.system, output ? *output : "");
    finding found{.id = server.gate == readiness_gate::out_of_sync ? "sync"
                        : server.side == pair_side::main           ? "main"
                                                                   : "backup",
                  .sentence = server.name + lack + words.reason + '.',
                  .advice = words.advice};
    if (const std::string_view condition = condition_of(server.gate); !condition.empty())
        found.alerts.push_back(server.alert(message_of(condition)));
    // Nor is it known what show it has.
    if (is_silent(server)) found.alerts.emplace_back(alert_texts::not_synchronized);
    if (output != nullptr)
        for (const output_rule& rule : server.protection.policy.outputRules)
            if (server.id_in(rule) == *output)
                found.alerts.push_back(server.alert(message_of_output(server.side, rule)));
    return found;
}

findings check_main(const judged_server& main) {
    if (main.gate == readiness_gate::none) return {};
    return {gate_finding(main, " is not well: ")};
}

findings check_backup(const judged_server& backup) {
    if (backup.gate != readiness_gate::none) {
        finding found = gate_finding(backup, " is not ready to take over: ");
        found.alerts.emplace_back(alert_texts::backup_not_ready);
        if (backup.gate == readiness_gate::out_of_sync)
            found.alerts.emplace_back(alert_texts::not_synchronized);
        return {found};
    }
    if (!is_active(backup.protection, alert_texts::backup_not_ready)) return {};
    return {{.id = "backup",
             .sentence = "Backup is not ready to take over, for a reason that the program does not "
                         "show: its engine may still be starting, or its clock may be unlocked.",
             .advice = "Look at that server, wait, and check again.",
             .alerts = {std::string(alert_texts::backup_not_ready)}}};
}

findings check_sync(const judged_server& main, const judged_server& backup) {
    if (is_silent(main) || is_silent(backup) || backup.gate == readiness_gate::out_of_sync ||
        !out_of_sync(main.system, backup.system))
        return {};
    const system_record& system = backup.system;
    std::string sentence = "Backup's show or media is behind Main's: revision " +
                           std::to_string(system.replicationAppliedRevision) + " of " +
                           std::to_string(main.system.replicationRevision);
    if (system.replicationPendingMedia > 0)
        sentence += ", " + std::to_string(system.replicationPendingMedia) + " media missing";
    if (!system.replicationLastError.empty()) sentence += ", " + system.replicationLastError;
    return {{.id = "sync",
             .sentence = sentence + '.',
             .advice = words_of(readiness_gate::out_of_sync, system, "").advice,
             .alerts = {std::string(alert_texts::not_synchronized)}}};
}

// A rule for an output that the server doesn't even list is more often a typing error than a pulled
// cable.
findings check_rules_of(const judged_server& server) {
    // Without a recent and complete answer its outputs are unknown.
    if (!server.health || !server.health->supported ||
        !heard_lately(server.protection.policy, *server.health, moment_of_status))
        return {};
    const std::string* const told =
        missing_output(server.protection.policy, server.system, *server.health);
    findings found;
    for (const output_rule& rule : server.protection.policy.outputRules) {
        const std::string& id = server.id_in(rule);
        if (rule.mode == mode_ignore || id.empty() || server.health->available_outputs.contains(id))
            continue;
        if (server.gate == readiness_gate::output_missing && id == *told) continue;
        found.push_back({.id = "output-rule",
                         .sentence = std::string(server.name) + " has no output " + id +
                                     ", which a rule under Protected Outputs names.",
                         .advice = "Check the cable, or correct the rule.",
                         .alerts = {server.alert(message_of_output(server.side, rule))}});
    }
    return found;
}

} // namespace

findings check_servers(const check_view& view) {
    if (!view.program.status) return {};
    const auto& [registry, protection, active, decks, path] = *view.program.status;
    const system_record* const backup_record = backup_of_pair(registry.systems);
    if (backup_record == nullptr) return {};
    const system_record& main_record = *first_main(registry.systems);
    const judged_server main = judge(pair_side::main, main_record, main_record, protection);
    const judged_server backup = judge(pair_side::backup, *backup_record, main_record, protection);
    findings found;
    for (findings more : {check_main(main), check_backup(backup), check_sync(main, backup),
                          check_rules_of(main), check_rules_of(backup)})
        std::ranges::move(more, std::back_inserter(found));
    return found;
}

} // namespace elvantris::operator_control
