// The judgements of protection: what is wrong with a server, whether it may carry operation, and
// whether operation moves. Values in, values out; the time is the caller's one reading.
#pragma once

#include "os/clock.hpp"
#include "protection/policy.hpp"
#include "protection/server_health.hpp"
#include "systems/system_record.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// A condition's name or message. It points into the policy and is valid only until that
// policy is changed or destroyed; `written` returns a copy.
struct fault_text {
    std::string_view words;          // a literal, always valid
    std::string_view output_id = {}; // of an output rule of that policy, behind the words

    std::string written() const { return std::string(words).append(output_id); }
};

// One thing that can be wrong with a server, and whether it is now.
struct fault_condition {
    fault_text name; // follows the serial in alert and timer keys
    bool present = false;
    fault_mode mode = mode_ignore;
    std::chrono::milliseconds delay{};
    fault_text message;
};

enum class pair_side { main, backup };

// Younger than the policy's loss time. An age of exactly that time counts as lost.
bool heard_lately(const protection_policy& policy, const server_health& health, steady_time now);

inline constexpr std::size_t server_condition_count = 7;
// The conditions of one server, in the order in which they are judged; those of its protected
// outputs follow them.
std::array<fault_condition, server_condition_count>
server_conditions(const protection_policy& policy, const server_health& health, steady_time now);
// Absent where the rule names no output of that side.
std::optional<fault_condition> output_condition(pair_side side, const output_rule& rule,
                                                const protection_policy& policy,
                                                const server_health& health, steady_time now);

// Whether Backup is behind a revision that Main is known to have.
bool out_of_sync(const system_record& main, const system_record& backup);

// Why operation can't be on a server, in the order of the checks.
enum class readiness_gate {
    none, // it may carry operation
    not_polled,
    not_answering,
    health_unknown,
    engine_stopped,
    engine_unresponsive,
    engine_starting,
    answer_too_old,
    telemetry_missing,
    frames_stalled,
    clock_fault,
    output_missing,
    out_of_sync,
};

// The first closed gate of this server. `health` is null for a server never polled; `main` is
// Main's record of the same moment. An answer exactly as old as the loss time is still accepted.
readiness_gate closed_gate(const protection_policy& policy, const system_record& system,
                           const server_health* health, const system_record& main, steady_time now);

// Whether this server may carry operation.
inline bool server_ready(const protection_policy& policy, const system_record& system,
                         const server_health* health, const system_record& main, steady_time now) {
    return closed_gate(policy, system, health, main, now) == readiness_gate::none;
}

// The first output that this server needs, by a rule of the policy, and doesn't have; null if it
// has them all. The id is the policy's own.
const std::string* missing_output(const protection_policy& policy, const system_record& system,
                                  const server_health& health);

// Whether answers are missing because of this workstation and not because of a server.
struct workstation_trouble {
    bool holds_operation = false; // no missing answer is a server's fault
    bool lacks_resources = false;
};

struct failover_view {
    bool enabled = false;
    bool held_on_backup = false;
    bool in_grace = false;
    bool armed = false;
    bool main_fault = false; // a confirmed critical condition of Main
    bool backup_ready = false;
    bool actions_busy = false; // an outbound sequence is running or queued
    bool cut_off = false;      // no missing answer is a server's fault
};
enum class failover_action { none, blocked_by_readiness, blocked_by_sequence, move_to_backup };
failover_action decide_failover(const failover_view& view);

} // namespace elvantris::operator_control
