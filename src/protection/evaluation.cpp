#include "protection/evaluation.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds at_once{0};
constexpr milliseconds sustained_pressure{10'000};

const std::string& output_id(pair_side side, const output_rule& rule) {
    return side == pair_side::main ? rule.mainId : rule.backupId;
}

readiness_gate engine_gate(const server_health& health) {
    if (!health.reachable) return readiness_gate::not_answering;
    if (!health.supported) return readiness_gate::health_unknown;
    if (!health.engineRunning) return readiness_gate::engine_stopped;
    if (!health.engineResponsive) return readiness_gate::engine_unresponsive;
    return health.engineStarting ? readiness_gate::engine_starting : readiness_gate::none;
}

// Unlike the alert, readiness requires that Main's revision is known.
bool proven_in_sync(const system_record& main, const system_record& backup) {
    return main.replicationRevision >= 1 && !out_of_sync(main, backup);
}

} // namespace

bool heard_lately(const protection_policy& policy, const server_health& health, steady_time now) {
    return health.reachable && now - health.lastSeen < milliseconds(policy.lossMs);
}

std::array<fault_condition, server_condition_count>
server_conditions(const protection_policy& policy, const server_health& health, steady_time now) {
    const bool heard = heard_lately(policy, health, now);
    const bool reports = heard && health.supported;
    const bool runs = heard && health.engineRunning;
    const milliseconds loss(policy.lossMs);
    // Silence and stalls need no delay of their own: they are already judged by their age.
    return {{
        {.name = {"server"},
         .present = !heard,
         .mode = policy.server,
         .delay = at_once,
         .message = {"Server communication lost."}},
        {.name = {"engine"},
         .present = reports && !health.engineRunning,
         .mode = policy.engine,
         .delay = at_once,
         .message = {"Engine stopped or exited."}},
        {.name = {"responsive"},
         .present = reports && runs && !health.engineResponsive,
         .mode = policy.responsive,
         .delay = loss,
         .message = {"Engine is not responding."}},
        {.name = {"frames"},
         .present = runs && health.telemetryAvailable && health.frameStalled,
         .mode = policy.frames,
         .delay = at_once,
         .message = {"Engine channel frame progress stalled."}},
        {.name = {"clock"},
         .present = reports && health.clockFault,
         .mode = policy.clock,
         .delay = loss,
         .message = {"Engaged external clock is unavailable or unlocked."}},
        {.name = {"resources"},
         .present = reports && health.resourcePressure,
         .mode = policy.resources,
         .delay = sustained_pressure,
         .message = {"Sustained resource pressure: CPU >=95%, available memory <5%, or GPU "
                     "temperature >=90 C."}},
        {.name = {"telemetry"},
         .present = heard && (!health.supported || (runs && !health.telemetryAvailable)),
         .mode = mode_alert,
         .delay = loss,
         .message = {"Frame/output telemetry unavailable; update Elvantris and its engine."}},
    }};
}

std::optional<fault_condition> output_condition(pair_side side, const output_rule& rule,
                                                const protection_policy& policy,
                                                const server_health& health, steady_time now) {
    const std::string& id = output_id(side, rule);
    if (id.empty()) return std::nullopt;
    return fault_condition{.name = {.words = "output:", .output_id = id},
                           .present = heard_lately(policy, health, now) && health.engineRunning &&
                                      !output_available(health, id),
                           .mode = rule.mode,
                           .delay = milliseconds(policy.outputMs),
                           .message = {.words = "Protected output unavailable: ", .output_id = id}};
}

bool out_of_sync(const system_record& main, const system_record& backup) {
    return main.replicationRevision >= 1 &&
           (backup.replicationAppliedRevision != main.replicationRevision ||
            backup.replicationPendingMedia > 0 || !backup.replicationLastError.empty());
}

readiness_gate closed_gate(const protection_policy& policy, const system_record& system,
                           const server_health* health, const system_record& main,
                           steady_time now) {
    if (health == nullptr) return readiness_gate::not_polled;
    if (const readiness_gate gate = engine_gate(*health); gate != readiness_gate::none) return gate;
    if (now - health->lastSeen > milliseconds(policy.lossMs)) return readiness_gate::answer_too_old;
    if (policy.frames == mode_failover && !health->telemetryAvailable)
        return readiness_gate::telemetry_missing;
    if (policy.frames == mode_failover && health->frameStalled)
        return readiness_gate::frames_stalled;
    if (policy.clock == mode_failover && health->clockFault) return readiness_gate::clock_fault;
    if (missing_output(policy, system, *health) != nullptr) return readiness_gate::output_missing;
    const bool must_be_in_sync = policy.sync == mode_failover && system.role == system_role::backup;
    return must_be_in_sync && !proven_in_sync(main, system) ? readiness_gate::out_of_sync
                                                            : readiness_gate::none;
}

const std::string* missing_output(const protection_policy& policy, const system_record& system,
                                  const server_health& health) {
    const pair_side side = system.role == system_role::main ? pair_side::main : pair_side::backup;
    const auto missing = std::ranges::find_if(policy.outputRules, [&](const output_rule& rule) {
        return rule.mode == mode_failover && !output_available(health, output_id(side, rule));
    });
    return missing == policy.outputRules.end() ? nullptr : &output_id(side, *missing);
}

failover_action decide_failover(const failover_view& view) {
    if (!view.enabled || view.held_on_backup || view.in_grace || !view.armed || !view.main_fault)
        return failover_action::none;
    if (!view.backup_ready) return failover_action::blocked_by_readiness;
    if (view.actions_busy) return failover_action::blocked_by_sequence;
    // The cause may be this workstation, so operation stays. The next cycle decides again.
    return view.cut_off ? failover_action::none : failover_action::move_to_backup;
}

} // namespace elvantris::operator_control
