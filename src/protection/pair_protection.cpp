#include "protection/pair_protection.hpp"

#include "protection/alert_texts.hpp"

#include <chrono>
#include <exception>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds sync_delay{2000};

alert_severity severity_of(fault_mode mode) {
    return mode == mode_failover ? alert_severity::critical : alert_severity::warning;
}

// For alerts and log lines: a failure here must not stop what they report.
template<typename telling>
void if_possible(const telling& tell) noexcept {
    try {
        tell();
    } catch (const std::exception&) {
        return;
    }
}

shown_server show(const std::string& serial, const server_health& health, steady_time now) {
    return {.serial = serial,
            .age_ms = health.reachable ? milliseconds_between(health.lastSeen, now) : -1,
            .supported = health.supported,
            .engine_running = health.engineRunning,
            .engine_responsive = health.engineResponsive,
            .telemetry_available = health.telemetryAvailable,
            .frame_stalled = health.frameStalled,
            // Empty before the first answer; `write_status` then writes [].
            .outputs = health.outputs};
}

} // namespace

pair_protection::pair_protection(controller_registry& registry, protection_disk disk)
    : registry_(registry), disk_(std::move(disk)), log_(disk_.append) {
    std::string error;
    disk_.load(saved_, error);
    if (!error.empty()) last_action_ = "Invalid saved protection settings: " + error;
}

void pair_protection::begin(steady_time now) {
    grace_start_ = now;
    const std::optional<server_pair> pair = registry_.find_pair();
    if (!registry_.enabled() || !pair) return;
    const bool hold_stands = saved_.heldOnBackup && knows(*pair);
    registry_.set_active_override(true, hold_stands ? pair->backup.serial : pair->main.serial);
}

void pair_protection::note_health(const std::string& serial, std::optional<server_health> health) {
    server_health& entry = health_[serial];
    if (health) entry = std::move(*health);
}

void pair_protection::evaluate_cycle(const moment& now, const workstation_trouble& trouble) {
    const alert_log::batch lines_of_this_cycle(log_);
    if (const std::optional<server_pair> pair = registry_.find_pair())
        watch_pair(*pair, trouble.holds_operation, now);
    else
        registry_.set_active_override(false, "");
    if (trouble.lacks_resources)
        note_monitor_failure("no socket or memory for a health poll.", now);
    else
        clear_alert("monitor", now);
}

void pair_protection::watch_pair(const server_pair& pair, bool cut_off, const moment& now) {
    const auto& [main, backup] = pair;
    if (!knows(pair)) adopt_pair(pair, now);

    const bool in_grace = now.steady - grace_start_ < milliseconds(saved_.policy.startupMs);
    const std::optional<fault_text> main_fault = watch_server(main, pair_side::main, in_grace, now);
    watch_server(backup, pair_side::backup, in_grace, now);
    watch_sync(pair, in_grace, now);

    const bool backup_ready = ready(backup, main, now.steady);
    set_alert("backup-readiness", !backup_ready && !in_grace, alert_texts::backup_not_ready,
              alert_severity::critical, now);

    const bool enabled = registry_.enabled();
    pin_active(pair, enabled);
    run_failover_decision(backup,
                          {.enabled = enabled,
                           .held_on_backup = saved_.heldOnBackup,
                           .in_grace = in_grace,
                           .armed = saved_.policy.armed,
                           .main_fault = main_fault.has_value(),
                           .backup_ready = backup_ready,
                           .actions_busy = queue_.busy(),
                           .cut_off = cut_off},
                          main_fault.value_or(fault_text{}), now);
}

bool pair_protection::knows(const server_pair& pair) const {
    return saved_.pairMain == pair.main.serial && saved_.pairBackup == pair.backup.serial;
}

void pair_protection::adopt_pair(const server_pair& pair, const moment& now) {
    std::string main = pair.main.serial;
    std::string backup = pair.backup.serial;
    saved_.pairMain.swap(main);
    saved_.pairBackup.swap(backup);
    saved_.heldOnBackup = false;
    timers_.clear();
    alerts_.recover_all(now.wall_ms);
    grace_start_ = now.steady;
    save();
}

void pair_protection::pin_active(const server_pair& pair, bool enabled) {
    // Only the hold decides, not the last active server: while there was no pair, the server that
    // is Backup now may have been Main.
    active_serial_ = (saved_.heldOnBackup ? pair.backup : pair.main).serial;
    registry_.set_active_override(enabled, active_serial_);
}

std::optional<fault_text> pair_protection::watch_server(const system_record& system, pair_side side,
                                                        bool in_grace, const moment& now) {
    const server_health& health = health_[system.serial];
    registry_.set_online(system.serial, heard_lately(saved_.policy, health, now.steady),
                         now.steady);
    std::optional<fault_text> first_critical;
    const auto watch = [&](const fault_condition& condition) {
        const bool fired = watch_condition(system.serial, side, condition, in_grace, now);
        if (fired && condition.mode == mode_failover && !first_critical)
            first_critical = condition.message;
    };
    for (const fault_condition& condition : server_conditions(saved_.policy, health, now.steady))
        watch(condition);
    for (const output_rule& rule : saved_.policy.outputRules)
        if (const auto condition = output_condition(side, rule, saved_.policy, health, now.steady))
            watch(*condition);
    return first_critical;
}

bool pair_protection::watch_condition(const std::string& serial, pair_side side,
                                      const fault_condition& condition, bool in_grace,
                                      const moment& now) {
    const std::string key = serial + ':' + condition.name.written();
    // The grace neither starts nor clears a timer.
    const bool fired =
        !in_grace && timers_.confirm(key, condition.present && condition.mode != mode_ignore,
                                     condition.delay, now.steady);
    if (!fired) {
        clear_alert(key, now);
        return false;
    }
    if_possible([&] {
        raise_alert(
            key,
            std::string(side == pair_side::main ? alert_texts::of_main : alert_texts::of_backup) +
                condition.message.written(),
            severity_of(condition.mode), now);
    });
    return true;
}

void pair_protection::watch_sync(const server_pair& pair, bool in_grace, const moment& now) {
    const bool fired =
        !in_grace && saved_.policy.sync != mode_ignore &&
        timers_.confirm("show-sync", out_of_sync(pair.main, pair.backup), sync_delay, now.steady);
    set_alert("show-sync", fired, alert_texts::not_synchronized, alert_severity::warning, now);
}

void pair_protection::run_failover_decision(const system_record& backup, const failover_view& view,
                                            const fault_text& reason, const moment& now) {
    const auto block = [&](std::string_view message) {
        raise_alert("failover-blocked", message, alert_severity::critical, now);
    };
    switch (decide_failover(view)) {
    case failover_action::blocked_by_readiness:
        block(alert_texts::blocked_by_readiness);
        return;
    case failover_action::blocked_by_sequence:
        block(alert_texts::blocked_by_sequence);
        return;
    case failover_action::move_to_backup: {
        // A transfer that can't be saved is tried again in the next cycle; an alert reports it.
        std::string error;
        transfer_to(backup, pair_side::backup, reason, now, error);
        break;
    }
    case failover_action::none:
        break;
    }
    clear_alert("failover-blocked", now);
}

pair_protection::prepared_transfer pair_protection::prepare_transfer(const system_record& target,
                                                                     pair_side side) const {
    const bool to_backup = side == pair_side::backup;
    prepared_transfer prepared{
        .active_serial = target.serial, .override_serial = target.serial, .job = {}};
    std::vector<outbound_action> steps;
    for (const outbound_action& action : saved_.policy.actions)
        if (action.enabled && action.event == (to_backup ? "backup" : "main"))
            steps.push_back(action);
    if (!steps.empty())
        prepared.job = outbound_queue::prepared(
            {.steps = std::move(steps),
             .name = std::string(to_backup ? alert_texts::to_backup : alert_texts::to_main)});
    return prepared;
}

bool pair_protection::transfer_to(const system_record& target, pair_side side,
                                  const fault_text& reason, const moment& now, std::string& error) {
    prepared_transfer prepared = prepare_transfer(target, side);
    const bool held_before = std::exchange(saved_.heldOnBackup, side == pair_side::backup);
    if (!save()) {
        saved_.heldOnBackup = held_before;
        raise_alert("transfer-storage", alert_texts::transfer_not_saved, alert_severity::critical,
                    now);
        error = alert_texts::transfer_not_saved;
        return false;
    }
    active_serial_.swap(prepared.active_serial);
    registry_.set_active_override(true, std::move(prepared.override_serial));
    queue_.add(std::move(prepared.job));

    clear_alert("transfer-storage", now);
    clear_alert("transfer", now); // so that this transfer raises a new notice
    if_possible([&] {
        raise_alert("transfer",
                    reason.written() + std::string(alert_texts::operating_on) +
                        (side == pair_side::backup ? "Backup. Return to Main manually when ready."
                                                   : "Main."),
                    alert_severity::notice, now);
    });
    return true;
}

bool pair_protection::operate(std::string_view operation, const moment& now, std::string& error) {
    if (operation == "acknowledge") {
        alerts_.acknowledge_all();
        return true;
    }
    if (operation == "arm" || operation == "disarm") return set_armed(operation == "arm", error);
    if (operation == "main") return transfer_on_request(pair_side::main, now, error);
    if (operation == "backup") return transfer_on_request(pair_side::backup, now, error);
    error = "Unknown protection operation.";
    return false;
}

bool pair_protection::set_armed(bool armed, std::string& error) {
    const bool armed_before = std::exchange(saved_.policy.armed, armed);
    if (save()) return true;
    saved_.policy.armed = armed_before;
    error = "Could not save protection state.";
    return false;
}

bool pair_protection::transfer_on_request(pair_side side, const moment& now, std::string& error) {
    if (queue_.busy()) {
        error = "Wait for the outbound sequence to finish before transferring again.";
        return false;
    }
    const std::optional<server_pair> pair = registry_.find_pair();
    if (pair) {
        // There may have been no cycle since the start or since the pair came back. The next one
        // would do this, and would undo or repeat the transfer.
        if (!knows(*pair)) adopt_pair(*pair, now);
        pin_active(*pair, registry_.enabled());
    }
    const auto main = pair ? pair->main : registry_.find_main();
    const auto target = side == pair_side::main ? main
                        : pair                  ? std::optional(pair->backup)
                                                : std::nullopt;
    if (!registry_.enabled() || !target || !ready(*target, *main, now.steady)) {
        error = "Requested server is not ready for takeover. Check engine and protected outputs.";
        return false;
    }
    if (active_serial_ == target->serial) return true;
    return transfer_to(*target, side, {alert_texts::operator_request}, now, error);
}

bool pair_protection::replace_policy(protection_policy policy, std::string& error) {
    std::swap(saved_.policy, policy);
    if (save()) {
        timers_.clear();
        return true;
    }
    std::swap(saved_.policy, policy);
    error = "Protection settings could not be saved.";
    return false;
}

bool pair_protection::test_action(std::int32_t index, std::string& error) {
    const std::vector<outbound_action>& actions = saved_.policy.actions;
    if (index < 0 || static_cast<std::size_t>(index) >= actions.size()) {
        error = "Save the action before testing it.";
        return false;
    }
    const outbound_action& action = actions[static_cast<std::size_t>(index)];
    if (!action.enabled) {
        error = "Enable and save the action before testing it.";
        return false;
    }
    if (queue_.busy()) {
        error = "An outbound sequence is already running.";
        return false;
    }
    queue_.add(outbound_queue::prepared({.steps = {action}, .name = "Test action"}));
    return true;
}

void pair_protection::record_step(const outbound_sequence& sequence, const outbound_action& step,
                                  bool sent, const std::string& failure,
                                  const moment& now) noexcept {
    if_possible([&] {
        last_action_ = sequence.name + " / " + step.name + ": " +
                       (sent ? std::string(alert_texts::step_sent) : failure);
        set_alert("action:" + step.name + ':' + step.event, !sent, last_action_,
                  alert_severity::critical, now);
        log_.action(now.wall_ms, last_action_);
    });
}

void pair_protection::finish_sequence(const outbound_sequence& sequence, bool complete) noexcept {
    queue_.finish();
    if (!complete) return;
    if_possible(
        [&] { last_action_ = sequence.name + ": sequence sent; device execution unconfirmed."; });
}

void pair_protection::note_monitor_failure(std::string_view what, const moment& now) noexcept {
    if_possible([&] {
        raise_alert("monitor", "Protection monitor error: " + std::string(what),
                    alert_severity::critical, now);
    });
}

protection_snapshot pair_protection::snapshot(steady_time now) const {
    protection_snapshot taken{.policy = saved_.policy,
                              .held_on_backup = saved_.heldOnBackup,
                              .actions_busy = queue_.busy(),
                              .last_action = last_action_,
                              .servers = {},
                              .alerts = alerts_.records()};
    taken.servers.reserve(health_.size());
    for (const auto& [serial, health] : health_)
        taken.servers.push_back(show(serial, health, now));
    return taken;
}

bool pair_protection::ready(const system_record& system, const system_record& main,
                            steady_time now) const {
    const auto entry = health_.find(system.serial);
    return server_ready(saved_.policy, system, entry == health_.end() ? nullptr : &entry->second,
                        main, now);
}

void pair_protection::raise_alert(std::string_view key, std::string_view message,
                                  alert_severity severity, const moment& now) noexcept {
    if_possible([&] {
        if (alerts_.raise(key, message, severity, now.wall_ms) == alert_change::raised)
            log_.fault(now.wall_ms, key, message);
    });
}

void pair_protection::clear_alert(std::string_view key, const moment& now) noexcept {
    if_possible([&] {
        if (alerts_.clear(key, now.wall_ms) == alert_change::recovered)
            log_.recovered(now.wall_ms, key);
    });
}

void pair_protection::set_alert(std::string_view key, bool active, std::string_view message,
                                alert_severity severity, const moment& now) noexcept {
    if (active)
        raise_alert(key, message, severity, now);
    else
        clear_alert(key, now);
}

} // namespace elvantris::operator_control
