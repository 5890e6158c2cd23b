#include "model/protection_model.hpp"

#include <algorithm>

namespace elvantris::operator_control::model {
namespace {

// Keys: 250 for each server, the pair's own behind them.
constexpr int keys_of_a_server = 250;
constexpr int first_output = 10;
enum condition : int {
    c_server,
    c_engine,
    c_responsive,
    c_frames,
    c_clock,
    c_resources,
    c_telemetry
};
enum pair_key : int {
    show_sync = keys_of_a_server * server_count,
    backup_readiness,
    failover_blocked,
    monitor,
    transfer_notice,
    transfer_storage,
    first_action,
};
constexpr std::size_t most_alerts = 200;

constexpr std::array<std::string_view, 7> condition_names{
    "server", "engine", "responsive", "frames", "clock", "resources", "telemetry"};

bool has(std::uint32_t says, std::uint32_t bit) {
    return (says & bit) != 0;
}

} // namespace

std::string serial_of(int server) {
    constexpr std::array<const char*, server_count> serials{"M1", "B1", "B2"};
    return server == nobody ? "" : serials.at(static_cast<std::size_t>(server));
}

std::string output_name(int output) {
    std::string name;
    if (output != nobody) name.append("o").append(std::to_string(output));
    return name;
}

std::string step_name(int step) {
    std::string name("step ");
    return name.append(std::to_string(step));
}

plan plan_for(std::uint32_t number) {
    std::uint32_t rest = number;
    const auto next = [&](std::uint32_t limit) {
        rest = rest * 1664525U + 1013904223U;
        return (rest >> 16U) % limit;
    };
    plan made;
    made.armed = next(8) != 0;
    made.loss_ms = std::array<std::int64_t, 5>{500, 750, 1000, 1000, 2000}.at(next(5));
    made.output_ms = std::array<std::int64_t, 3>{500, 1000, 1500}.at(next(3));
    made.startup_ms = std::array<std::int64_t, 3>{1000, 2500, 5000}.at(next(3));
    for (unsigned* mode :
         {&made.server, &made.engine, &made.responsive, &made.frames, &made.sync, &made.clock})
        *mode = next(2) == 0 ? 2 : next(3);
    made.resources = next(2);
    const std::uint32_t rules = next(300) == 0 ? 120 : next(4);
    for (std::uint32_t i = 0; i < rules; ++i) {
        planned_rule rule;
        rule.main = static_cast<int>(i);
        rule.mode = next(3);
        if (rule.mode == 2 || next(2) == 0) rule.backup = static_cast<int>(next(rules));
        made.rules.push_back(rule);
    }
    const std::uint32_t steps = next(4);
    for (std::uint32_t i = 0; i < steps; ++i)
        made.steps.push_back(
            {.name = static_cast<int>(next(3)), .on_main = next(2) == 0, .enabled = next(4) != 0});
    return made;
}

replication replication_for(std::uint32_t number) {
    replication made;
    made.revision = (number >> 3U) % 3U;
    made.applied = number % 2U == 0 ? made.revision : (number >> 7U) % 3U;
    made.pending = (number >> 11U) % 5U == 0 ? 2 : 0;
    made.error = (number >> 15U) % 7U == 0;
    return made;
}

std::string key_text(int key) {
    if (key < show_sync) {
        const std::string serial = serial_of(key / keys_of_a_server) + ":";
        const int name = key % keys_of_a_server;
        if (name >= first_output) return serial + "output:" + output_name(name - first_output);
        return serial + std::string(condition_names.at(static_cast<std::size_t>(name)));
    }
    switch (key) {
    case show_sync:
        return "show-sync";
    case backup_readiness:
        return "backup-readiness";
    case failover_blocked:
        return "failover-blocked";
    case monitor:
        return "monitor";
    case transfer_notice:
        return "transfer";
    case transfer_storage:
        return "transfer-storage";
    default:
        break;
    }
    const int action = key - first_action;
    return "action:" + step_name(action / 2) + (action % 2 == 1 ? ":main" : ":backup");
}

bool output_works(const heard& known, int output) {
    const unsigned bit = first_output_bit + static_cast<unsigned>(output) % output_bits;
    return output < known.listed_outputs && has(known.says, 1U << bit);
}

void protection_model::load(bool unreadable) {
    if (!unreadable) memory_ = disk_;
}

void protection_model::begin(const times& now) {
    grace_start_ = now.steady;
    if (!around_.enabled || around_.main == nobody || around_.backup == nobody) return;
    const bool same_pair =
        memory_.pair_main == around_.main && memory_.pair_backup == around_.backup;
    pinned_ = true;
    pinned_server_ = same_pair && memory_.held ? around_.backup : around_.main;
}

void protection_model::hear(int server, std::uint32_t says, const times& now) {
    heard& known = health_.at(static_cast<std::size_t>(server));
    known.polled = true;
    if (!has(says, answered)) return;
    known.says = says;
    known.listed_outputs = std::max(4, static_cast<int>(memory_.policy.rules.size()));
    known.seen = now.steady - 50 * static_cast<std::int64_t>(says >> age_shift);
}

bool protection_model::fresh(int server, const times& now) const {
    const heard& known = heard_of(server);
    return has(known.says, answered) && now.steady - known.seen < memory_.policy.loss_ms;
}

void protection_model::evaluate(const times& now, bool cut_off) {
    facts_ = {};
    facts_.cut_off = cut_off;
    reason_.clear();
    if (around_.main == nobody || around_.backup == nobody) {
        pinned_ = false;
        pinned_server_ = nobody;
    } else {
        facts_.pair = true;
        facts_.pair_changed = pair_is_new();
        if (facts_.pair_changed) change_pair(now);
        facts_.in_grace = now.steady - grace_start_ < memory_.policy.startup_ms;
        check_server(around_.main, now);
        check_server(around_.backup, now);
        check_sync(now);
        facts_.ready = ready(around_.backup, now);
        set(backup_readiness, !facts_.ready && !facts_.in_grace,
            "Backup is not ready; automatic protection is degraded.", 2, now);
        settle();
        decide(now);
    }
    set(monitor, false, "", 1, now);
}

bool protection_model::pair_is_new() const {
    return memory_.pair_main != around_.main || memory_.pair_backup != around_.backup;
}

void protection_model::settle() {
    active_ = memory_.held ? around_.backup : around_.main;
    pinned_ = around_.enabled;
    pinned_server_ = active_;
}

void protection_model::change_pair(const times& now) {
    memory_.pair_main = around_.main;
    memory_.pair_backup = around_.backup;
    memory_.held = false;
    active_ = nobody;
    timers_.fill(std::nullopt);
    for (alert& record : alerts_)
        if (record.active) {
            record.active = false;
            record.recovered = now.wall;
        }
    standing_.fill(false);
    grace_start_ = now.steady;
    save();
}

void protection_model::check_server(int server, const times& now) {
    const plan& policy = memory_.policy;
    heard& known = health_.at(static_cast<std::size_t>(server));
    known.polled = true;
    const std::uint32_t says = known.says;
    const bool here = fresh(server, now);
    const bool speaks = here && has(says, supported);
    const bool runs = here && has(says, engine_running);
    check(server, c_server, !here, policy.server, 0, "Server communication lost.", now);
    check(server, c_engine, speaks && !runs, policy.engine, 0, "Engine stopped or exited.", now);
    check(server, c_responsive, speaks && runs && !has(says, engine_responsive), policy.responsive,
          policy.loss_ms, "Engine is not responding.", now);
    check(server, c_frames, runs && has(says, telemetry) && has(says, frames_stalled),
          policy.frames, 0, "Engine channel frame progress stalled.", now);
    check(server, c_clock, speaks && has(says, clock_fault), policy.clock, policy.loss_ms,
          "Engaged external clock is unavailable or unlocked.", now);
    check(
        server, c_resources, speaks && has(says, pressure), policy.resources, 10000,
        "Sustained resource pressure: CPU >=95%, available memory <5%, or GPU temperature >=90 C.",
        now);
    check(server, c_telemetry, here && (!speaks || (runs && !has(says, telemetry))), 1,
          policy.loss_ms, "Frame/output telemetry unavailable; update Elvantris and its engine.",
          now);
    for (const planned_rule& rule : policy.rules) {
        const int output = server == around_.main ? rule.main : rule.backup;
        if (output == nobody) continue;
        check(server, first_output + output, runs && !output_works(known, output), rule.mode,
              policy.output_ms, "Protected output unavailable: ", now);
    }
}

void protection_model::check(int server, int name, bool condition, unsigned mode,
                             std::int64_t delay, std::string_view message, const times& now) {
    const int key = server * keys_of_a_server + name;
    const bool fired = !facts_.in_grace && timer(key, condition && mode != 0, delay, now);
    // The usual case first, for speed: nothing is wrong and nothing was.
    if (!fired && !standing_.at(static_cast<std::size_t>(key))) return;
    std::string text(message);
    if (name >= first_output) text += output_name(name - first_output);
    set(key, fired, (server == around_.main ? "Main: " : "Backup: ") + text, mode == 2 ? 2 : 1,
        now);
    if (!fired || mode != 2 || server != around_.main) return;
    facts_.main_fault = true;
    if (reason_.empty()) reason_ = text;
}

bool protection_model::timer(int key, bool condition, std::int64_t delay, const times& now) {
    std::optional<std::int64_t>& since = timers_.at(static_cast<std::size_t>(key));
    if (!condition) {
        since.reset();
        return false;
    }
    if (since) return now.steady - *since >= delay;
    since = now.steady;
    return delay == 0;
}

void protection_model::check_sync(const times& now) {
    const replication& main = around_.replicas.at(static_cast<std::size_t>(around_.main));
    const replication& backup = around_.replicas.at(static_cast<std::size_t>(around_.backup));
    const bool behind = main.revision >= 1 &&
                        (backup.applied != main.revision || backup.pending > 0 || backup.error);
    const bool fired =
        !facts_.in_grace && memory_.policy.sync != 0 && timer(show_sync, behind, 2000, now);
    set(show_sync, fired, "Backup show state or media is not synchronized.", 1, now);
}

bool protection_model::ready(int server, const times& now) const {
    const plan& policy = memory_.policy;
    const heard& known = heard_of(server);
    const std::uint32_t says = known.says;
    constexpr std::uint32_t needed = answered | supported | engine_running | engine_responsive;
    if (!known.polled || (says & needed) != needed || has(says, engine_starting)) return false;
    if (now.steady - known.seen > policy.loss_ms) return false;
    if (policy.frames == 2 && (!has(says, telemetry) || has(says, frames_stalled))) return false;
    if (policy.clock == 2 && has(says, clock_fault)) return false;
    const bool is_main = server == around_.main;
    for (const planned_rule& rule : policy.rules)
        if (rule.mode == 2 && !output_works(known, is_main ? rule.main : rule.backup)) return false;
    if (policy.sync != 2 || is_main) return true;
    const replication& main = around_.replicas.at(static_cast<std::size_t>(around_.main));
    const replication& own = around_.replicas.at(static_cast<std::size_t>(server));
    return main.revision >= 1 && own.applied == main.revision && own.pending <= 0 && !own.error;
}

void protection_model::decide(const times& now) {
    facts_.enabled = around_.enabled;
    facts_.held = memory_.held;
    facts_.armed = memory_.policy.armed;
    facts_.busy = busy();
    if (!facts_.enabled || facts_.held || facts_.in_grace || !facts_.armed || !facts_.main_fault) {
        set(failover_blocked, false, "", 1, now);
        return;
    }
    if (!facts_.ready || facts_.busy) {
        set(failover_blocked, true,
            !facts_.ready ? "Main fault detected; failover blocked because Backup is not ready."
                          : "Main fault detected; waiting for the current outbound sequence.",
            2, now);
        return;
    }
    std::string ignored;
    if (!facts_.cut_off) transfer(around_.backup, true, reason_, now, ignored);
    set(failover_blocked, false, "", 1, now);
}

bool protection_model::transfer(int target, bool to_backup, std::string_view reason,
                                const times& now, std::string& error) {
    const bool before = memory_.held;
    memory_.held = to_backup;
    if (!save()) {
        memory_.held = before;
        error = "Could not persist active server; transfer was blocked.";
        set(transfer_storage, true, error, 2, now);
        return false;
    }
    set(transfer_storage, false, "", 1, now);
    active_ = target;
    pinned_ = true;
    pinned_server_ = target;
    set(transfer_notice, false, "", 1, now);
    set(transfer_notice, true,
        std::string(reason) + "; operating on " +
            (to_backup ? "Backup. Return to Main manually when ready." : "Main."),
        0, now);
    job made{.name = to_backup ? "Transfer to Backup" : "Return to Main", .steps = {}};
    for (const planned_step& step : memory_.policy.steps)
        if (step.enabled && step.on_main != to_backup) made.steps.push_back(step);
    if (!made.steps.empty()) waiting_.push_back(made);
    return true;
}

bool protection_model::operate(std::string_view word, const times& now, std::string& error) {
    facts_.pair_changed = false;
    if (word == "acknowledge") {
        for (alert& record : alerts_)
            record.acknowledged = true;
        return true;
    }
    if (word == "arm" || word == "disarm") {
        const bool before = memory_.policy.armed;
        memory_.policy.armed = word == "arm";
        if (save()) return true;
        memory_.policy.armed = before;
        error = "Could not save protection state.";
        return false;
    }
    if (word != "main" && word != "backup") {
        error = "Unknown protection operation.";
        return false;
    }
    if (busy()) {
        error = "Wait for the outbound sequence to finish before transferring again.";
        return false;
    }
    facts_.pair_changed = around_.main != nobody && around_.backup != nobody && pair_is_new();
    if (facts_.pair_changed) change_pair(now);
    if (around_.main != nobody && around_.backup != nobody) settle();
    const bool to_backup = word == "backup";
    const int target = to_backup ? around_.backup : around_.main;
    if (!around_.enabled || target == nobody || !ready(target, now)) {
        error = "Requested server is not ready for takeover. Check engine and protected outputs.";
        return false;
    }
    if (active_ == target) return true;
    return transfer(target, to_backup, "Operator requested transfer", now, error);
}

bool protection_model::replace(const plan& wanted, std::string& error) {
    const plan before = memory_.policy;
    memory_.policy = wanted;
    if (save()) {
        timers_.fill(std::nullopt);
        return true;
    }
    memory_.policy = before;
    error = "Protection settings could not be saved.";
    return false;
}

job protection_model::take() {
    job first = waiting_.front();
    waiting_.pop_front();
    running_ = true;
    return first;
}

void protection_model::recorded(const planned_step& step, bool sent, const std::string& text,
                                const times& now) {
    set(first_action + step.name * 2 + (step.on_main ? 1 : 0), !sent, text, 2, now);
}

void protection_model::monitor_failed(std::string_view what, const times& now) {
    set(monitor, true, "Protection monitor error: " + std::string(what), 2, now);
}

void protection_model::set(int key, bool active, std::string_view message, int severity,
                           const times& now) {
    bool& stands = standing_.at(static_cast<std::size_t>(key));
    if (active == stands) return;
    if (!active) {
        const auto record = std::find_if(alerts_.begin(), alerts_.end(), [&](const alert& one) {
            return one.active && one.key == key;
        });
        record->active = false;
        record->recovered = now.wall;
        stands = false;
        lines.push_back(R"({"time":)" + std::to_string(now.wall) +
                        R"(,"event":"recovered","key":")" + key_text(key) + "\"}\n");
        return;
    }
    if (alerts_.size() >= most_alerts) {
        auto oldest = std::find_if(alerts_.begin(), alerts_.end(),
                                   [](const alert& one) { return !one.active; });
        if (oldest == alerts_.end()) oldest = alerts_.begin();
        if (oldest->active) standing_.at(static_cast<std::size_t>(oldest->key)) = false;
        alerts_.erase(oldest);
    }
    alerts_.push_back({.id = ++last_id_,
                       .key = key,
                       .message = std::string(message),
                       .severity = severity,
                       .started = now.wall});
    stands = true;
    lines.push_back(R"({"time":)" + std::to_string(now.wall) + R"(,"event":"fault","key":")" +
                    key_text(key) + R"(","message":")" + std::string(message) + "\"}\n");
}

bool protection_model::save() {
    ++saves;
    if (around_.saves_fail) return false;
    disk_ = memory_;
    return true;
}

} // namespace elvantris::operator_control::model
