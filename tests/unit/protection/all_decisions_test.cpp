// Every combination of what decides a failover, against one short table of rules.
#include "protection/pair_protection.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

using std::chrono::milliseconds;
using namespace std::chrono_literals;

// The first rule that applies decides.
struct decision_rule {
    bool (*applies)(const failover_view& view);
    failover_action then;
};
constexpr std::array decision_rules{
    decision_rule{[](const failover_view& view) { return !view.enabled; }, failover_action::none},
    decision_rule{[](const failover_view& view) { return view.held_on_backup; },
                  failover_action::none},
    decision_rule{[](const failover_view& view) { return view.in_grace; }, failover_action::none},
    decision_rule{[](const failover_view& view) { return !view.armed; }, failover_action::none},
    decision_rule{[](const failover_view& view) { return !view.main_fault; },
                  failover_action::none},
    decision_rule{[](const failover_view& view) { return !view.backup_ready; },
                  failover_action::blocked_by_readiness},
    decision_rule{[](const failover_view& view) { return view.actions_busy; },
                  failover_action::blocked_by_sequence},
    decision_rule{[](const failover_view& view) { return view.cut_off; }, failover_action::none},
    decision_rule{[](const failover_view&) { return true; }, failover_action::move_to_backup},
};

failover_action ruled(const failover_view& view) {
    for (const decision_rule& rule : decision_rules)
        if (rule.applies(view)) return rule.then;
    return failover_action::none;
}

failover_view view_of(unsigned bits) {
    const auto bit = [bits](unsigned place) { return (bits >> place & 1U) != 0; };
    return {.enabled = bit(0),
            .held_on_backup = bit(1),
            .in_grace = bit(2),
            .armed = bit(3),
            .main_fault = bit(4),
            .backup_ready = bit(5),
            .actions_busy = bit(6),
            .cut_off = bit(7)};
}

TEST(all_decisions, every_view_is_decided_by_the_first_rule_that_applies) {
    for (unsigned bits = 0; bits < 256; ++bits)
        EXPECT_EQ(decide_failover(view_of(bits)), ruled(view_of(bits))) << "view " << bits;
}

// What one side of the pair looks like when the decision is due.
struct scene {
    protection_policy policy;
    server_health main;
    server_health backup;
    bool main_answers = true;
    bool backup_answers = true;
    replication_status main_replication;
    replication_status backup_replication;
};

// Whether it requests a failover, or keeps Backup from being ready, is fixed or governed by a mode.
struct variation {
    std::string name;
    std::function<void(scene&)> apply;
    bool fixed = false;
    fault_mode protection_policy::*governed_by = nullptr;

    bool decides(const protection_policy& policy) const {
        return governed_by != nullptr ? policy.*governed_by == mode_failover : fixed;
    }
};

server_health healthy_server() {
    server_health health;
    health.reachable = health.supported = true;
    health.engineRunning = health.engineResponsive = health.telemetryAvailable = true;
    health.available_outputs = {{"wall", true}};
    return health;
}

// A policy in which nothing is watched, so that each variation brings its own condition.
scene calm_scene() {
    scene calm;
    protection_policy& policy = calm.policy;
    policy.server = policy.engine = policy.responsive = policy.frames = mode_ignore;
    policy.sync = policy.clock = policy.resources = mode_ignore;
    policy.startupMs = 1000;
    calm.main = calm.backup = healthy_server();
    calm.main_replication.revision = calm.backup_replication.applied_revision = 7;
    return calm;
}

constexpr std::array<fault_mode, 3> all_modes{mode_ignore, mode_alert, mode_failover};

std::vector<variation> main_conditions() {
    struct condition {
        const char* name;
        fault_mode protection_policy::*mode;
        std::function<void(scene&)> apply;
    };
    const std::vector<condition> governed{
        {"server", &protection_policy::server, [](scene& s) { s.main_answers = false; }},
        {"engine", &protection_policy::engine, [](scene& s) { s.main.engineRunning = false; }},
        {"responsive", &protection_policy::responsive,
         [](scene& s) { s.main.engineResponsive = false; }},
        {"frames", &protection_policy::frames, [](scene& s) { s.main.frameStalled = true; }},
        {"clock", &protection_policy::clock, [](scene& s) { s.main.clockFault = true; }},
    };
    std::vector<variation> all{
        {"healthy", [](scene&) {}},
        {"without telemetry", [](scene& s) { s.main.telemetryAvailable = false; }},
        {"too old for health", [](scene& s) { s.main.supported = false; }}};
    for (const fault_mode mode : all_modes) {
        const std::string suffix = " at " + std::to_string(mode);
        const bool decides = mode == mode_failover;
        for (const condition& one : governed)
            all.push_back({one.name + suffix,
                           [one, mode](scene& s) {
                               s.policy.*one.mode = mode;
                               one.apply(s);
                           },
                           false, one.mode});
        all.push_back({"output" + suffix,
                       [mode](scene& s) {
                           s.policy.outputRules.push_back({"wall", "wall", mode});
                           s.main.available_outputs.clear();
                       },
                       decides});
        if (!decides)
            all.push_back({"resources" + suffix, [mode](scene& s) {
                               s.policy.resources = mode;
                               s.main.resourcePressure = true;
                           }});
    }
    return all;
}

// A gate of readiness counts at every mode, or only at the highest.
std::vector<variation> backup_gates() {
    std::vector<variation> all{
        {"healthy", [](scene&) {}},
        {"never heard", [](scene& s) { s.backup_answers = false; }, true},
        {"too old", [](scene& s) { s.backup.supported = false; }, true},
        {"engine stopped", [](scene& s) { s.backup.engineRunning = false; }, true},
        {"engine hangs", [](scene& s) { s.backup.engineResponsive = false; }, true},
        {"engine starting", [](scene& s) { s.backup.engineStarting = true; }, true},
        {"under pressure", [](scene& s) { s.backup.resourcePressure = true; }, false},
    };
    for (const fault_mode mode : all_modes) {
        const std::string suffix = " at " + std::to_string(mode);
        const bool decides = mode == mode_failover;
        // The mode is raised only, as Main's condition may have set the same one.
        const auto add = [&](const std::string& name, fault_mode protection_policy::*member,
                             const std::function<void(scene&)>& spoil) {
            all.push_back({name + suffix,
                           [member, mode, spoil](scene& s) {
                               s.policy.*member = std::max(s.policy.*member, mode);
                               spoil(s);
                           },
                           false, member});
        };
        add("no telemetry", &protection_policy::frames,
            [](scene& s) { s.backup.telemetryAvailable = false; });
        add("stalled", &protection_policy::frames, [](scene& s) { s.backup.frameStalled = true; });
        add("clock", &protection_policy::clock, [](scene& s) { s.backup.clockFault = true; });
        add("no revision", &protection_policy::sync, [](scene& s) {
            s.main_replication.revision = s.backup_replication.applied_revision = 0;
        });
        add("behind", &protection_policy::sync,
            [](scene& s) { s.backup_replication.applied_revision = 6; });
        add("media pending", &protection_policy::sync,
            [](scene& s) { s.backup_replication.pending_media = 1; });
        add("replication error", &protection_policy::sync,
            [](scene& s) { s.backup_replication.last_error = "full"; });
        all.push_back({"output" + suffix,
                       [mode](scene& s) {
                           s.policy.outputRules.push_back({"side", "side", mode});
                           s.main.available_outputs["side"] = true;
                       },
                       decides});
    }
    return all;
}

// A pair in memory: its files are these values.
class whole_cycle {
public:
    whole_cycle(const scene& staged, const failover_view& gates)
        : registry_("unused"), scene_(staged) {
        registry_.merge_discovered(
            {{"127.0.0.1", 5000, "left", "M"}, {"127.0.0.2", 5000, "right", "B"}}, start);
        registry_.configure(false, "M", "B");
        registry_.set_replication("M", staged.main_replication);
        registry_.set_replication("B", staged.backup_replication);
        saved_ = {scene_.policy, gates.held_on_backup, "M", "B"};
        saved_.policy.armed = gates.armed;
        if (gates.in_grace) saved_.policy.startupMs = 60000;
        outbound_action action;
        action.host = "127.0.0.1";
        action.port = 9;
        action.payload = "GO";
        action.enabled = true;
        saved_.policy.actions = {action};
    }

    // The conditions are confirmed while the pair is disabled; then one cycle decides.
    failover_action decided(const failover_view& gates) {
        pair_protection protection(
            registry_, {.load = [this](saved_protection& saved, std::string&) { saved = saved_; },
                        .save =
                            [this](const saved_protection& saved) {
                                saved_ = saved;
                                return true;
                            },
                        .append = [](std::string_view) {}});
        std::string error;
        protection.begin(start);
        EXPECT_EQ(gates.actions_busy && protection.test_action(0, error), gates.actions_busy)
            << error;
        cycle(protection, 1000ms, {});
        registry_.configure(gates.enabled, "M", "B");
        cycle(protection, 12000ms, {.holds_operation = gates.cut_off});
        const protection_snapshot shown = protection.snapshot(start + 12000ms);
        EXPECT_EQ(saved_.heldOnBackup, shown.held_on_backup);
        if (shown.held_on_backup && !gates.held_on_backup) return failover_action::move_to_backup;
        for (const alert_record& alert : shown.alerts)
            if (alert.active && alert.key == "failover-blocked")
                return alert.message.ends_with("Backup is not ready.")
                           ? failover_action::blocked_by_readiness
                           : failover_action::blocked_by_sequence;
        return failover_action::none;
    }

private:
    static constexpr steady_time start{std::chrono::hours(1)};

    void cycle(pair_protection& protection, milliseconds at, const workstation_trouble& trouble) {
        scene_.main.lastSeen = scene_.backup.lastSeen = start + at;
        protection.note_health("M",
                               scene_.main_answers ? std::optional(scene_.main) : std::nullopt);
        protection.note_health("B",
                               scene_.backup_answers ? std::optional(scene_.backup) : std::nullopt);
        protection.evaluate_cycle({start + at, at.count()}, trouble);
    }

    controller_registry registry_;
    scene scene_;
    saved_protection saved_;
};

TEST(all_decisions, every_condition_of_main_meets_every_gate_in_a_whole_cycle) {
    int cases = 0;
    for (const variation& main : main_conditions())
        for (const variation& backup : backup_gates())
            for (unsigned bits = 0; bits < 64; ++bits) {
                scene staged = calm_scene();
                main.apply(staged);
                backup.apply(staged);
                const failover_view gates{.enabled = (bits & 1U) == 0,
                                          .held_on_backup = (bits & 2U) != 0,
                                          .in_grace = (bits & 4U) != 0,
                                          .armed = (bits & 8U) == 0,
                                          .main_fault = main.decides(staged.policy),
                                          .backup_ready = !backup.decides(staged.policy),
                                          .actions_busy = (bits & 16U) != 0,
                                          .cut_off = (bits & 32U) != 0};
                ASSERT_EQ(whole_cycle(staged, gates).decided(gates), ruled(gates))
                    << "Main " << main.name << ", Backup " << backup.name << ", gates " << bits;
                ++cases;
            }
    EXPECT_GT(cases, 40000);
}

} // namespace
} // namespace elvantris::operator_control
