#include "protection/evaluation.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds at_once{0};
constexpr milliseconds sustained_pressure{10'000};

const std::string& output_id(pair_side side, const output_rule& rule) {
    return side == pair_side::main ? rule.mainId : rule.backupId;
}

bool engine_ready(const server_health& health) {
    return health.reachable && health.supported && health.engineRunning &&
           health.engineResponsive && !health.engineStarting;
}

// Unlike the alert, readiness takes an unknown revision for no proof.
bool proven_in_sync(const system_record& main, const system_record& backup) {
    return main.replicationRevision >= 1 && !out_of_sync(main, backup);
}

} // namespace

bool heard_lately(const protection_policy& policy, const server_health& health, steady_time now) {
    return health.reachable && now - health.lastSeen < milliseconds(policy.lossMs);
}

std::vector<fault_condition> server_conditions(pair_side side, const protection_policy& policy,
                                               const server_health& health, steady_time now) {
    const bool heard = heard_lately(policy, health, now);
    const milliseconds loss(policy.lossMs);
    std::vector<fault_condition> conditions;
    conditions.reserve(7 + policy.outputRules.size());
    const auto add = [&](std::string name, bool present, fault_mode mode, milliseconds delay,
                         std::string message) {
        conditions.push_back({.name = std::move(name),
                              .present = present,
                              .mode = mode,
                              .delay = delay,
                              .message = std::move(message)});
    };

    // Silence and stalling carry their delays in the ages that they compare.
    add("server", !heard, policy.server, at_once, "Server communication lost.");
    add("engine", heard && health.supported && !health.engineRunning, policy.engine, at_once,
        "Engine stopped or exited.");
    add("responsive", heard && health.supported && health.engineRunning && !health.engineResponsive,
        policy.responsive, loss, "Engine is not responding.");
    add("frames", heard && health.engineRunning && health.telemetryAvailable && health.frameStalled,
        policy.frames, at_once, "Engine channel frame progress stalled.");
    add("clock", heard && health.supported && health.clockFault, policy.clock, loss,
        "Engaged external clock is unavailable or unlocked.");
    add("resources", heard && health.supported && health.resourcePressure, policy.resources,
        sustained_pressure,
        "Sustained resource pressure: CPU >=95%, available memory <5%, or GPU temperature >=90 C.");
    add("telemetry",
        heard && (!health.supported || (health.engineRunning && !health.telemetryAvailable)),
        mode_alert, loss, "Frame/output telemetry unavailable; update Elvantris and its engine.");
    for (const output_rule& rule : policy.outputRules) {
        const std::string& id = output_id(side, rule);
        if (id.empty()) continue;
        add("output:" + id, heard && health.engineRunning && !output_available(health, id),
            rule.mode, milliseconds(policy.outputMs), "Protected output unavailable: " + id);
    }
    return conditions;
}

bool out_of_sync(const system_record& main, const system_record& backup) {
    return main.replicationRevision >= 1 &&
           (backup.replicationAppliedRevision != main.replicationRevision ||
            backup.replicationPendingMedia > 0 || !backup.replicationLastError.empty());
}

bool server_ready(const protection_policy& policy, const system_record& system,
                  const server_health* health, const system_record& main, steady_time now) {
    if (health == nullptr || !engine_ready(*health)) return false;
    if (now - health->lastSeen > milliseconds(policy.lossMs)) return false;
    if (policy.frames == mode_failover && (!health->telemetryAvailable || health->frameStalled))
        return false;
    if (policy.clock == mode_failover && health->clockFault) return false;
    const pair_side side = system.role == system_role::main ? pair_side::main : pair_side::backup;
    const bool outputs_ready =
        std::ranges::all_of(policy.outputRules, [&](const output_rule& rule) {
            return rule.mode != mode_failover || output_available(*health, output_id(side, rule));
        });
    if (!outputs_ready) return false;
    const bool must_be_in_sync = policy.sync == mode_failover && system.role == system_role::backup;
    return !must_be_in_sync || proven_in_sync(main, system);
}

failover_action decide_failover(const failover_view& view) {
    if (!view.enabled || view.held_on_backup || view.in_grace || !view.armed || !view.main_fault)
        return failover_action::none;
    if (!view.backup_ready) return failover_action::blocked_by_readiness;
    if (view.actions_busy) return failover_action::blocked_by_sequence;
    // The workstation can't tell who is to blame, so operation stays; the next cycle looks again.
    return view.cut_off ? failover_action::none : failover_action::move_to_backup;
}

} // namespace elvantris::operator_control
