// Main M1 and Backup B1 (and a spare B2) in a registry, and their protection, in a fresh folder.
// Time moves only by the test's hand.
#pragma once

#include "integration/support/temporary_folder.hpp"
#include "json/field_scanner.hpp"
#include "os/files.hpp"
#include "protection/pair_protection.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace elvantris::operator_control {

inline server_health healthy_server() {
    server_health health;
    health.reachable = true;
    health.supported = true;
    health.engineRunning = true;
    health.engineResponsive = true;
    health.telemetryAvailable = true;
    health.outputs = "[]";
    return health;
}

inline outbound_action enabled_action(const std::string& name, const std::string& event) {
    outbound_action action;
    action.name = name;
    action.event = event;
    action.host = "127.0.0.1";
    action.port = 9;
    action.payload = "GO";
    action.enabled = true;
    return action;
}

inline output_rule rule_for(const std::string& main_id, const std::string& backup_id,
                            fault_mode mode) {
    output_rule rule;
    rule.mainId = main_id;
    rule.backupId = backup_id;
    rule.mode = mode;
    return rule;
}

class watched_pair : public testing::Test {
protected:
    using ms = std::chrono::milliseconds;

    watched_pair() : registry(folder.file("operator-control.json")) {
        registry.merge_discovered({{"127.0.0.1", 5000, "Stage left", "M1"},
                                   {"127.0.0.2", 5000, "Stage right", "B1"},
                                   {"127.0.0.3", 5000, "Spare", "B2"}},
                                  now.steady);
        registry.configure(true, "M1", "B1");
        restart();
    }

    // A new process on the same folder; the registry keeps what it knows.
    void restart() { protection.emplace(registry, files_beside(registry.configuration_path())); }

    // One monitor cycle, `later` than the one before: what the servers say, then the evaluation.
    // A server that says nothing has failed its poll.
    void cycle_after(ms later) {
        now.steady += later;
        now.wall_ms += later.count();
        hear_both();
        protection->evaluate_cycle(now);
    }
    void hear_both() {
        hear(main_serial, main_says);
        hear(backup_serial, backup_says);
    }
    void hear(const std::string& serial, std::optional<server_health> health) {
        if (health) health->lastSeen = now.steady;
        protection->note_health(serial, std::move(health));
    }

    // Starts and waits out the grace, with both servers as they are.
    void watch() {
        protection->begin(now.steady);
        cycle_after(ms(0));
        cycle_after(ms(5000));
    }

    // On Backup by the operator's hand, with nothing wrong.
    void hold_on_backup() {
        watch();
        ASSERT_TRUE(operate("backup"));
        ASSERT_EQ(registry.active_role(), "backup");
    }

    bool operate(std::string_view operation) {
        error.clear();
        return protection->operate(operation, now, error);
    }
    void use_policy(const protection_policy& policy) {
        ASSERT_TRUE(protection->replace_policy(policy, error)) << error;
    }
    template<typename change>
    void change_policy(const change& changed) {
        protection_policy policy = shown().policy;
        changed(policy);
        use_policy(policy);
    }

    // A folder in the way of the temporary file: every save fails from now on.
    void break_saving() { std::filesystem::create_directory(state_path() + ".tmp"); }
    void mend_saving() { std::filesystem::remove(state_path() + ".tmp"); }

    std::string state_path() const { return registry.configuration_path() + ".protection.json"; }
    saved_protection saved() const {
        saved_protection found;
        std::string ignored;
        EXPECT_TRUE(read_saved_protection(
            read_whole_file(state_path(), largest_settings_file).value_or(""), found, ignored));
        return found;
    }

    protection_snapshot shown() const { return protection->snapshot(now.steady); }
    bool held() const { return shown().held_on_backup; }
    bool busy() const { return shown().actions_busy; }
    std::string last_action() const { return shown().last_action; }
    std::deque<alert_record> alerts() const { return shown().alerts; }

    // "critical Main: Engine stopped or exited."
    std::set<std::string> standing() const {
        const auto word = [](alert_severity severity) {
            return severity == alert_severity::critical  ? "critical "
                   : severity == alert_severity::warning ? "warning "
                                                         : "notice ";
        };
        std::set<std::string> found;
        for (const alert_record& alert : alerts())
            if (alert.active) found.insert(word(alert.severity) + alert.message);
        return found;
    }
    bool stands(const std::string& alert) const { return standing().contains(alert); }

    std::vector<std::string> log_lines() const {
        std::vector<std::string> lines;
        std::istringstream text(
            read_whole_file(state_path() + ".alerts.jsonl", 1 << 20).value_or(""));
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    temporary_folder folder;
    moment now{.steady = steady_time(std::chrono::hours(1)), .wall_ms = 1'700'000'000'000};
    controller_registry registry;
    std::optional<pair_protection> protection;
    std::string main_serial = "M1"; // of the two that are paired and heard
    std::string backup_serial = "B1";
    std::optional<server_health> main_says = healthy_server();
    std::optional<server_health> backup_says = healthy_server();
    std::string error;
};

} // namespace elvantris::operator_control
