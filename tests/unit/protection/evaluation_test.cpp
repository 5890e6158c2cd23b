#include "protection/evaluation.hpp"

#include "systems/controller_registry.hpp"

#include <gtest/gtest.h>

#include <functional>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

const steady_time now{1h};

// Heard this very moment, with nothing wrong and the outputs "m" and "b" there.
server_health healthy() {
    server_health health;
    health.reachable = true;
    health.supported = true;
    health.engineRunning = true;
    health.engineResponsive = true;
    health.telemetryAvailable = true;
    health.lastSeen = now;
    health.available_outputs = {{"m", true}, {"b", true}, {"gone", false}};
    return health;
}

output_rule rule(const std::string& main_id, const std::string& backup_id, fault_mode mode) {
    output_rule made;
    made.mainId = main_id;
    made.backupId = backup_id;
    made.mode = mode;
    return made;
}

using names = std::vector<std::string>;

std::vector<fault_condition> all_conditions(pair_side side, const protection_policy& policy,
                                            const server_health& health) {
    const auto of_server = server_conditions(policy, health, now);
    std::vector<fault_condition> conditions(of_server.begin(), of_server.end());
    for (const output_rule& each : policy.outputRules)
        if (const auto condition = output_condition(side, each, policy, health, now))
            conditions.push_back(*condition);
    return conditions;
}

names present_in(const std::vector<fault_condition>& conditions) {
    names found;
    for (const fault_condition& condition : conditions)
        if (condition.present) found.push_back(condition.name.written());
    return found;
}

using health_change = std::function<void(server_health&)>;
using policy_change = std::function<void(protection_policy&)>;

struct condition_case {
    std::string what;
    health_change change;
    names present;
};

// A Backup that keeps up with its Main.
server_pair synchronized_pair() {
    server_pair pair;
    pair.main.serial = "M1";
    pair.main.role = system_role::main;
    pair.main.replicationRevision = 7;
    pair.backup.serial = "B1";
    pair.backup.role = system_role::backup;
    pair.backup.replicationAppliedRevision = 7;
    return pair;
}

void expect_backup_ready(bool expected, const policy_change& change_policy,
                         const health_change& change_health) {
    protection_policy policy;
    change_policy(policy);
    server_health health = healthy();
    change_health(health);
    const server_pair pair = synchronized_pair();
    EXPECT_EQ(server_ready(policy, pair.backup, &health, pair.main, now), expected);
}

void nothing(protection_policy&) {}
void unchanged(server_health&) {}

failover_view fault_with_all_gates_open() {
    failover_view view;
    view.enabled = true;
    view.armed = true;
    view.main_fault = true;
    view.backup_ready = true;
    return view;
}

} // namespace

TEST(heard_lately, ends_at_exactly_the_loss_time) {
    protection_policy policy;
    policy.lossMs = 1000;
    server_health health = healthy();
    EXPECT_TRUE(heard_lately(policy, health, now));
    EXPECT_TRUE(heard_lately(policy, health, now + 999ms));
    EXPECT_FALSE(heard_lately(policy, health, now + 1000ms));
    policy.lossMs = 700;
    EXPECT_TRUE(heard_lately(policy, health, now + 699ms));
    EXPECT_FALSE(heard_lately(policy, health, now + 700ms));
    health.reachable = false;
    EXPECT_FALSE(heard_lately(policy, health, now));
}

TEST(server_conditions, find_exactly_what_is_wrong) {
    const std::vector<condition_case> cases{
        {"healthy", unchanged, {}},
        {"never heard", [](auto& health) { health = server_health{}; }, {"server"}},
        {"silent for the loss time",
         [](auto& health) { health.lastSeen = now - 1000ms; },
         {"server"}},
        {"silent for less", [](auto& health) { health.lastSeen = now - 999ms; }, {}},
        {"silent, whatever it said before",
         [](auto& health) {
             health.lastSeen = now - 1000ms;
             health.engineResponsive = false;
             health.frameStalled = true;
             health.clockFault = true;
             health.resourcePressure = true;
             health.available_outputs.clear();
         },
         {"server"}},
        {"engine stopped", [](auto& health) { health.engineRunning = false; }, {"engine"}},
        {"a stopped engine is no more than stopped",
         [](auto& health) {
             health.engineRunning = false;
             health.engineResponsive = false;
             health.telemetryAvailable = false;
             health.frameStalled = true;
             health.available_outputs.clear();
         },
         {"engine"}},
        {"engine not responding",
         [](auto& health) { health.engineResponsive = false; },
         {"responsive"}},
        {"engine starting is no fault", [](auto& health) { health.engineStarting = true; }, {}},
        {"frames stalled", [](auto& health) { health.frameStalled = true; }, {"frames"}},
        {"frames stalled that nobody can see",
         [](auto& health) {
             health.frameStalled = true;
             health.telemetryAvailable = false;
         },
         {"telemetry"}},
        {"clock lost", [](auto& health) { health.clockFault = true; }, {"clock"}},
        {"resources short", [](auto& health) { health.resourcePressure = true; }, {"resources"}},
        {"no telemetry", [](auto& health) { health.telemetryAvailable = false; }, {"telemetry"}},
        {"too old to report health",
         [](auto& health) {
             health = server_health{};
             health.reachable = true;
             health.lastSeen = now;
         },
         {"telemetry"}},
        {"old flags count only through the health call",
         [](auto& health) {
             health.supported = false;
             health.engineResponsive = false;
             health.clockFault = true;
             health.resourcePressure = true;
         },
         {"telemetry"}},
        {"several at once, in the order of judgement",
         [](auto& health) {
             health.engineResponsive = false;
             health.frameStalled = true;
             health.clockFault = true;
             health.resourcePressure = true;
             health.available_outputs.clear();
         },
         {"responsive", "frames", "clock", "resources", "output:m"}},
    };
    protection_policy policy;
    policy.outputRules = {rule("m", "b", mode_alert)};
    for (const condition_case& each : cases) {
        SCOPED_TRACE(each.what);
        server_health health = healthy();
        each.change(health);
        EXPECT_EQ(present_in(all_conditions(pair_side::main, policy, health)), each.present);
    }
}

TEST(server_conditions, carry_their_delays_and_messages) {
    protection_policy policy;
    policy.lossMs = 700;
    policy.stallMs = 800;
    policy.outputMs = 900;
    policy.outputRules = {rule("m", "b", mode_failover)};
    struct expected_condition {
        const char* name;
        std::chrono::milliseconds delay;
        const char* message;
    };
    const std::vector<expected_condition> expected{
        {"server", 0ms, "Server communication lost."},
        {"engine", 0ms, "Engine stopped or exited."},
        {"responsive", 700ms, "Engine is not responding."},
        {"frames", 0ms, "Engine channel frame progress stalled."},
        {"clock", 700ms, "Engaged external clock is unavailable or unlocked."},
        {"resources", 10000ms,
         "Sustained resource pressure: CPU >=95%, available memory <5%, or GPU temperature >=90 "
         "C."},
        {"telemetry", 700ms,
         "Frame/output telemetry unavailable; update Elvantris and its engine."},
        {"output:m", 900ms, "Protected output unavailable: m"},
    };
    const auto conditions = all_conditions(pair_side::main, policy, healthy());
    ASSERT_EQ(conditions.size(), expected.size());
    for (std::size_t at = 0; at < expected.size(); ++at) {
        SCOPED_TRACE(expected[at].name);
        EXPECT_EQ(conditions[at].name.written(), expected[at].name);
        EXPECT_EQ(conditions[at].delay, expected[at].delay);
        EXPECT_EQ(conditions[at].message.written(), expected[at].message);
    }
}

TEST(server_conditions, take_each_mode_from_its_own_field_and_telemetry_always_as_an_alert) {
    struct mode_field {
        const char* name;
        fault_mode protection_policy::*field;
    };
    for (const mode_field& each : {mode_field{"server", &protection_policy::server},
                                   mode_field{"engine", &protection_policy::engine},
                                   mode_field{"responsive", &protection_policy::responsive},
                                   mode_field{"frames", &protection_policy::frames},
                                   mode_field{"clock", &protection_policy::clock},
                                   mode_field{"resources", &protection_policy::resources}}) {
        SCOPED_TRACE(each.name);
        protection_policy policy;
        policy.server = policy.engine = policy.responsive = mode_ignore;
        policy.frames = policy.clock = policy.resources = mode_ignore;
        policy.*each.field = mode_failover;
        for (const fault_condition& condition : server_conditions(policy, healthy(), now)) {
            const std::string name = condition.name.written();
            SCOPED_TRACE(name);
            const fault_mode others = name == "telemetry" ? mode_alert : mode_ignore;
            EXPECT_EQ(condition.mode, name == each.name ? mode_failover : others);
        }
    }
}

TEST(server_conditions, watch_on_each_server_its_own_side_of_an_output_rule) {
    protection_policy policy;
    policy.outputRules = {rule("m", "gone", mode_failover), rule("gone", "", mode_alert),
                          rule("nowhere", "b", mode_ignore)};
    const auto on_main = all_conditions(pair_side::main, policy, healthy());
    EXPECT_EQ(present_in(on_main), (names{"output:gone", "output:nowhere"}));
    ASSERT_EQ(on_main.size(), 10U);
    EXPECT_EQ(on_main[7].mode, mode_failover);
    EXPECT_EQ(on_main[8].mode, mode_alert);
    EXPECT_EQ(on_main[9].mode, mode_ignore);
    const auto on_backup = all_conditions(pair_side::backup, policy, healthy());
    EXPECT_EQ(present_in(on_backup), names{"output:gone"});
    EXPECT_EQ(on_backup.size(), 9U) << "a rule without a Backup output is skipped there";
}

TEST(out_of_sync, compares_with_a_revision_of_main_that_is_known) {
    struct sync_case {
        const char* what;
        std::function<void(server_pair&)> change;
        bool expected;
    };
    const std::vector<sync_case> cases{
        {"in step", [](auto&) {}, false},
        {"behind", [](auto& pair) { pair.backup.replicationAppliedRevision = 6; }, true},
        {"ahead", [](auto& pair) { pair.backup.replicationAppliedRevision = 8; }, true},
        {"media pending", [](auto& pair) { pair.backup.replicationPendingMedia = 1; }, true},
        {"no media pending", [](auto& pair) { pair.backup.replicationPendingMedia = -1; }, false},
        {"failing", [](auto& pair) { pair.backup.replicationLastError = "disk"; }, true},
        {"the first revision", [](auto& pair) { pair.main.replicationRevision = 1; }, true},
        {"unknown revision",
         [](auto& pair) {
             pair.main.replicationRevision = 0;
             pair.backup.replicationPendingMedia = 3;
             pair.backup.replicationLastError = "disk";
         },
         false},
        {"main's own troubles do not count",
         [](auto& pair) {
             pair.main.replicationPendingMedia = 3;
             pair.main.replicationLastError = "disk";
         },
         false},
    };
    for (const sync_case& each : cases) {
        SCOPED_TRACE(each.what);
        server_pair pair = synchronized_pair();
        each.change(pair);
        EXPECT_EQ(out_of_sync(pair.main, pair.backup), each.expected);
    }
}

TEST(server_ready, wants_a_healthy_engine_whatever_the_modes_say) {
    const policy_change ignore_all = [](protection_policy& policy) {
        policy.server = policy.engine = policy.responsive = mode_ignore;
        policy.frames = policy.clock = policy.sync = mode_ignore;
    };
    expect_backup_ready(true, nothing, unchanged);
    expect_backup_ready(true, ignore_all, unchanged);
    const std::vector<health_change> troubles{
        [](auto& health) { health.reachable = false; },
        [](auto& health) { health.supported = false; },
        [](auto& health) { health.engineRunning = false; },
        [](auto& health) { health.engineResponsive = false; },
        [](auto& health) { health.engineStarting = true; },
        [](auto& health) { health.lastSeen = now - 1001ms; },
    };
    for (std::size_t at = 0; at < troubles.size(); ++at) {
        SCOPED_TRACE(at);
        expect_backup_ready(false, nothing, troubles[at]);
        expect_backup_ready(false, ignore_all, troubles[at]);
    }
    const server_pair pair = synchronized_pair();
    EXPECT_FALSE(server_ready(protection_policy{}, pair.backup, nullptr, pair.main, now));
}

TEST(closed_gate, is_the_first_one_in_their_order) {
    struct closing {
        readiness_gate gate;
        std::function<void(server_health&, server_pair&)> close;
    };
    // From the last to the first: each step closes one gate more, which comes before the others.
    const std::vector<closing> steps{
        {readiness_gate::none, [](auto&, auto&) {}},
        {readiness_gate::out_of_sync,
         [](auto&, auto& pair) { pair.backup.replicationPendingMedia = 1; }},
        {readiness_gate::output_missing,
         [](auto& health, auto&) { health.available_outputs["b"] = false; }},
        {readiness_gate::clock_fault, [](auto& health, auto&) { health.clockFault = true; }},
        {readiness_gate::frames_stalled, [](auto& health, auto&) { health.frameStalled = true; }},
        {readiness_gate::telemetry_missing,
         [](auto& health, auto&) { health.telemetryAvailable = false; }},
        {readiness_gate::answer_too_old,
         [](auto& health, auto&) { health.lastSeen = now - 1001ms; }},
        {readiness_gate::engine_starting,
         [](auto& health, auto&) { health.engineStarting = true; }},
        {readiness_gate::engine_unresponsive,
         [](auto& health, auto&) { health.engineResponsive = false; }},
        {readiness_gate::engine_stopped, [](auto& health, auto&) { health.engineRunning = false; }},
        {readiness_gate::health_unknown, [](auto& health, auto&) { health.supported = false; }},
        {readiness_gate::not_answering, [](auto& health, auto&) { health.reachable = false; }},
    };
    protection_policy policy;
    policy.clock = policy.sync = mode_failover;
    policy.outputRules = {rule("m", "b", mode_failover)};
    server_health health = healthy();
    server_pair pair = synchronized_pair();
    for (std::size_t at = 0; at < steps.size(); ++at) {
        SCOPED_TRACE(at);
        steps[at].close(health, pair);
        EXPECT_EQ(closed_gate(policy, pair.backup, &health, pair.main, now), steps[at].gate);
    }
    EXPECT_EQ(closed_gate(policy, pair.backup, nullptr, pair.main, now),
              readiness_gate::not_polled);
}

TEST(missing_output, is_named_by_the_servers_own_side_of_the_rule) {
    protection_policy policy;
    policy.outputRules = {rule("m", "not there", mode_alert), rule("gone", "b", mode_failover)};
    const server_health health = healthy();
    const server_pair pair = synchronized_pair();
    EXPECT_EQ(missing_output(policy, pair.backup, health), nullptr);
    const std::string* const missing = missing_output(policy, pair.main, health);
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(*missing, "gone");
}

TEST(server_ready, passes_an_age_of_exactly_the_loss_time) {
    expect_backup_ready(true, nothing, [](auto& health) { health.lastSeen = now - 1000ms; });
    expect_backup_ready(false, nothing, [](auto& health) { health.lastSeen = now - 1000ms - 1ns; });
    const policy_change sooner = [](auto& policy) { policy.lossMs = 700; };
    expect_backup_ready(true, sooner, [](auto& health) { health.lastSeen = now - 700ms; });
    expect_backup_ready(false, sooner, [](auto& health) { health.lastSeen = now - 700ms - 1ns; });
}

TEST(server_ready, counts_frames_clock_and_outputs_only_where_they_may_cause_a_failover) {
    struct gate {
        const char* what;
        std::function<void(protection_policy&, fault_mode)> set_mode;
        health_change trouble;
    };
    const std::vector<gate> gates{
        {"stalled frames", [](auto& policy, fault_mode mode) { policy.frames = mode; },
         [](auto& health) { health.frameStalled = true; }},
        {"no telemetry", [](auto& policy, fault_mode mode) { policy.frames = mode; },
         [](auto& health) { health.telemetryAvailable = false; }},
        {"clock", [](auto& policy, fault_mode mode) { policy.clock = mode; },
         [](auto& health) { health.clockFault = true; }},
        {"output",
         [](auto& policy, fault_mode mode) { policy.outputRules = {rule("m", "b", mode)}; },
         [](auto& health) { health.available_outputs["b"] = false; }},
    };
    for (const gate& each : gates) {
        SCOPED_TRACE(each.what);
        for (const fault_mode mode : {mode_ignore, mode_alert, mode_failover}) {
            SCOPED_TRACE(mode);
            const policy_change at_mode = [&](auto& policy) { each.set_mode(policy, mode); };
            expect_backup_ready(true, at_mode, unchanged);
            expect_backup_ready(mode != mode_failover, at_mode, each.trouble);
        }
    }
}

TEST(server_ready, never_counts_resources) {
    expect_backup_ready(
        true, [](auto& policy) { policy.resources = mode_alert; },
        [](auto& health) { health.resourcePressure = true; });
}

TEST(server_ready, looks_at_the_servers_own_side_of_every_failover_rule) {
    protection_policy policy;
    policy.outputRules = {rule("m", "b", mode_failover), rule("gone", "b", mode_failover)};
    const server_health health = healthy();
    const server_pair pair = synchronized_pair();
    EXPECT_TRUE(server_ready(policy, pair.backup, &health, pair.main, now));
    EXPECT_FALSE(server_ready(policy, pair.main, &health, pair.main, now));
}

TEST(server_ready, requires_synchronization_of_a_backup_at_mode_two_alone) {
    struct sync_case {
        const char* what;
        std::function<void(server_pair&)> change;
        bool ready;
    };
    const std::vector<sync_case> cases{
        {"in step", [](auto&) {}, true},
        {"unknown revision",
         [](auto& pair) {
             pair.main.replicationRevision = 0;
             pair.backup.replicationAppliedRevision = 0;
         },
         false},
        {"first revision",
         [](auto& pair) {
             pair.main.replicationRevision = 1;
             pair.backup.replicationAppliedRevision = 1;
         },
         true},
        {"behind", [](auto& pair) { pair.backup.replicationAppliedRevision = 6; }, false},
        {"media pending", [](auto& pair) { pair.backup.replicationPendingMedia = 1; }, false},
        {"failing", [](auto& pair) { pair.backup.replicationLastError = "disk"; }, false},
    };
    const server_health health = healthy();
    for (const sync_case& each : cases) {
        SCOPED_TRACE(each.what);
        server_pair pair = synchronized_pair();
        each.change(pair);
        protection_policy policy;
        policy.sync = mode_failover;
        EXPECT_EQ(server_ready(policy, pair.backup, &health, pair.main, now), each.ready);
        policy.sync = mode_alert;
        EXPECT_TRUE(server_ready(policy, pair.backup, &health, pair.main, now));
    }
    protection_policy policy;
    policy.sync = mode_failover;
    server_pair behind = synchronized_pair();
    behind.main.replicationRevision = 0;
    EXPECT_TRUE(server_ready(policy, behind.main, &health, behind.main, now))
        << "a return to Main asks for no synchronization";
}

TEST(decide_failover, moves_only_with_every_gate_open) {
    EXPECT_EQ(decide_failover(fault_with_all_gates_open()), failover_action::move_to_backup);
    struct closed_gate {
        const char* what;
        bool failover_view::*field;
        bool value;
        failover_action expected;
    };
    const std::vector<closed_gate> gates{
        {"disabled", &failover_view::enabled, false, failover_action::none},
        {"held", &failover_view::held_on_backup, true, failover_action::none},
        {"grace", &failover_view::in_grace, true, failover_action::none},
        {"disarmed", &failover_view::armed, false, failover_action::none},
        {"no fault", &failover_view::main_fault, false, failover_action::none},
        {"not ready", &failover_view::backup_ready, false, failover_action::blocked_by_readiness},
        {"busy", &failover_view::actions_busy, true, failover_action::blocked_by_sequence},
    };
    for (const closed_gate& gate : gates) {
        SCOPED_TRACE(gate.what);
        failover_view view = fault_with_all_gates_open();
        view.*gate.field = gate.value;
        EXPECT_EQ(decide_failover(view), gate.expected);
        view.backup_ready = false;
        view.actions_busy = true;
        EXPECT_EQ(decide_failover(view), gate.expected == failover_action::none
                                             ? failover_action::none
                                             : failover_action::blocked_by_readiness);
    }
}

TEST(decide_failover, stays_where_it_is_while_the_workstation_is_cut_off) {
    failover_view view = fault_with_all_gates_open();
    view.cut_off = true;
    EXPECT_EQ(decide_failover(view), failover_action::none);
    view.backup_ready = false;
    EXPECT_EQ(decide_failover(view), failover_action::blocked_by_readiness)
        << "its alert follows the readiness all the same";
}
