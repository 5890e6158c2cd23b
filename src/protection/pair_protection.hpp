// Everything that protection knows, and every act on it: policy, health, timers, alerts, the held
// side, the queue of outbound sequences.
//
// There is no thread, no lock and no clock in here; `protection_service` provides them. So
// tests can pass in any time.
//
// Threads: one at a time; the service's lock is held around every call.
// Failure: acts of the operator return false and fill `error` with the sentence to show. Every
//   change that the operator relies on is saved before it takes effect; a failed save puts the
//   old value back. If memory runs out, an act throws and has changed nothing: all that can fail
//   comes before the save. An alert or a log line that can't be made is left out.
//   A transfer on request first adopts a changed pair, as the next cycle would. The pair stays
//   adopted even if the transfer is refused.
#pragma once

#include "os/clock.hpp"
#include "protection/alert_list.hpp"
#include "protection/alert_log.hpp"
#include "protection/evaluation.hpp"
#include "protection/fault_timers.hpp"
#include "protection/outbound_queue.hpp"
#include "protection/policy.hpp"
#include "protection/protection_disk.hpp"
#include "protection/protection_status.hpp"
#include "protection/server_health.hpp"
#include "protection/state_file.hpp"
#include "systems/controller_registry.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

class pair_protection {
public:
    // Loads what is remembered.
    pair_protection(controller_registry& registry, protection_disk disk);

    // Starts the grace, and pins the server on which operation was left.
    void begin(steady_time now);

    std::uint32_t stall_ms() const { return saved_.policy.stallMs; }

    // An absent result is a failed poll: the last known health stays and gets older.
    void note_health(const std::string& serial, std::optional<server_health> health);
    // Operation stays where it is in a cycle whose polls failed through the workstation itself.
    void evaluate_cycle(const moment& now, const workstation_trouble& trouble = {});
    void note_monitor_failure(std::string_view what, const moment& now) noexcept;

    bool replace_policy(protection_policy policy, std::string& error);
    bool operate(std::string_view operation, const moment& now, std::string& error);
    bool test_action(std::int32_t index, std::string& error);

    // The outbound worker's side: one sequence at a time.
    bool sequence_waiting() const { return queue_.waiting(); }
    outbound_sequence take_sequence() noexcept { return queue_.take(); }
    // `failure` is empty for a step that was sent.
    void record_step(const outbound_sequence& sequence, const outbound_action& step, bool sent,
                     const std::string& failure, const moment& now) noexcept;
    void finish_sequence(const outbound_sequence& sequence, bool complete) noexcept;

    protection_snapshot snapshot(steady_time now) const;

private:
    // What a transfer needs, built before the save, so that nothing after the save can fail.
    struct prepared_transfer {
        std::string active_serial;
        std::string override_serial;
        outbound_queue::prepared_job job;
    };

    void raise_alert(std::string_view key, std::string_view message, alert_severity severity,
                     const moment& now) noexcept;
    void clear_alert(std::string_view key, const moment& now) noexcept;
    void set_alert(std::string_view key, bool active, std::string_view message,
                   alert_severity severity, const moment& now) noexcept;

    void watch_pair(const server_pair& pair, bool cut_off, const moment& now);
    bool knows(const server_pair& pair) const;
    void adopt_pair(const server_pair& pair, const moment& now);
    void pin_active(const server_pair& pair, bool enabled);
    // Raises and clears the server's alerts. Returns the message of the first critical condition
    // that is confirmed, if any is.
    std::optional<fault_text> watch_server(const system_record& system, pair_side side,
                                           bool in_grace, const moment& now);
    // Raises or clears the condition's alert. Returns whether the condition is confirmed.
    bool watch_condition(const std::string& serial, pair_side side,
                         const fault_condition& condition, bool in_grace, const moment& now);
    void watch_sync(const server_pair& pair, bool in_grace, const moment& now);
    void run_failover_decision(const system_record& backup, const failover_view& view,
                               const fault_text& reason, const moment& now);
    // `main` is the record by which a Backup's synchronisation is judged.
    bool ready(const system_record& system, const system_record& main, steady_time now) const;
    bool save() { return disk_.save(saved_); }
    bool set_armed(bool armed, std::string& error);
    bool transfer_on_request(pair_side side, const moment& now, std::string& error);
    bool transfer_to(const system_record& target, pair_side side, const fault_text& reason,
                     const moment& now, std::string& error);
    prepared_transfer prepare_transfer(const system_record& target, pair_side side) const;

    controller_registry& registry_;
    protection_disk disk_;
    saved_protection saved_;
    std::map<std::string, server_health> health_; // one entry for each server ever polled
    fault_timers timers_;
    alert_list alerts_;
    alert_log log_;
    outbound_queue queue_;
    steady_time grace_start_;
    std::string active_serial_; // empty until there is a pair
    std::string last_action_;
};

} // namespace elvantris::operator_control
