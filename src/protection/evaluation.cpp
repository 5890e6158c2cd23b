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

std::array<fault_condition, server_condition_count>
server_conditions(const protection_policy& policy, const server_health& health, steady_time now) {
    const bool heard = heard_lately(policy, health, now);
    const bool reports = heard && health.supported;
    const bool runs = heard && health.engineRunning;
    const milliseconds loss(policy.lossMs);
    // Silence and stalling carry their delays in the ages that they compare.
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
