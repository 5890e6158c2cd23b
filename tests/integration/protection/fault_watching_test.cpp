#include "watched_pair.hpp"

#include <functional>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class fault_watching : public watched_pair {
protected:
    // Main's revision 5 and what Backup has of it.
    void replicate(std::int64_t applied) {
        replication_status main;
        main.revision = 5;
        registry.set_replication("M1", main);
        replication_status backup;
        backup.applied_revision = applied;
        registry.set_replication("B1", backup);
    }

    // Nobody may cause a failover, so that faults can be watched undisturbed.
    void only_alert() {
        change_policy([](protection_policy& policy) {
            policy.server = policy.engine = policy.responsive = mode_alert;
            policy.frames = policy.clock = mode_alert;
        });
    }
};

const std::string not_ready = "critical Backup is not ready; automatic protection is degraded.";
const std::string out_of_step = "warning Backup show state or media is not synchronized.";

using health_change = std::function<void(server_health&)>;

struct fault_case {
    const char* name;
    health_change change;
    const char* message;
};

const std::vector<fault_case>& fault_cases() {
    static const std::vector<fault_case> cases{
        {"engine", [](auto& health) { health.engineRunning = false; }, "Engine stopped or exited."},
        {"responsive", [](auto& health) { health.engineResponsive = false; },
         "Engine is not responding."},
        {"frames", [](auto& health) { health.frameStalled = true; },
         "Engine channel frame progress stalled."},
        {"clock", [](auto& health) { health.clockFault = true; },
         "Engaged external clock is unavailable or unlocked."},
        {"resources", [](auto& health) { health.resourcePressure = true; },
         "Sustained resource pressure: CPU >=95%, available memory <5%, or GPU temperature >=90 "
         "C."},
        {"telemetry", [](auto& health) { health.telemetryAvailable = false; },
         "Frame/output telemetry unavailable; update Elvantris and its engine."},
    };
    return cases;
}

} // namespace

TEST_F(fault_watching, raises_nothing_during_the_grace_and_the_lost_server_right_after_it) {
    main_says.reset();
    backup_says.reset();
    replicate(4);
    protection->begin(now.steady);
    cycle_after(0ms);
    cycle_after(4999ms);
    EXPECT_TRUE(alerts().empty());
    EXPECT_EQ(registry.active_role(), "none");
    cycle_after(1ms);
    EXPECT_EQ(standing(),
              (std::set<std::string>{
                  "critical Main: Server communication lost.",
                  "critical Backup: Server communication lost.", not_ready,
                  "critical Main fault detected; failover blocked because Backup is not ready."}));
    std::vector<std::string> in_order;
    for (const alert_record& alert : alerts())
        in_order.push_back(alert.message);
    EXPECT_EQ(in_order,
              (std::vector<std::string>{
                  "Main: Server communication lost.", "Backup: Server communication lost.",
                  "Backup is not ready; automatic protection is degraded.",
                  "Main fault detected; failover blocked because Backup is not ready."}));
}

TEST_F(fault_watching, takes_the_length_of_the_grace_from_the_policy) {
    change_policy([](protection_policy& policy) { policy.startupMs = 2000; });
    main_says.reset();
    protection->begin(now.steady);
    cycle_after(0ms);
    cycle_after(1999ms);
    EXPECT_TRUE(standing().empty());
    cycle_after(1ms);
    EXPECT_TRUE(stands("critical Main: Server communication lost."));
}

TEST_F(fault_watching, starts_no_timer_during_the_grace) {
    replicate(4);
    watch();
    cycle_after(1999ms);
    EXPECT_FALSE(stands(out_of_step)) << "the first look after the grace started its delay";
    cycle_after(1ms);
    EXPECT_TRUE(stands(out_of_step));
}

TEST_F(fault_watching, runs_the_grace_from_the_start_for_a_pair_that_is_known) {
    watch();
    restart();
    now.steady += 1h;
    main_says.reset();
    protection->begin(now.steady);
    cycle_after(4999ms);
    EXPECT_TRUE(standing().empty());
    cycle_after(1ms);
    EXPECT_TRUE(stands("critical Main: Server communication lost."));
}

TEST_F(fault_watching, takes_a_silent_server_for_lost_at_the_loss_time_and_not_sooner) {
    watch();
    main_says.reset();
    cycle_after(999ms);
    EXPECT_TRUE(standing().empty());
    EXPECT_TRUE(registry.find_main()->online);
    EXPECT_EQ(registry.active_role(), "main");
    cycle_after(1ms);
    EXPECT_TRUE(stands("critical Main: Server communication lost."));
    EXPECT_FALSE(registry.find_main()->online);
    EXPECT_FALSE(registry.find_main()->uiReady);
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(held());
    main_says = healthy_server();
    cycle_after(250ms);
    EXPECT_FALSE(stands("critical Main: Server communication lost."));
    EXPECT_TRUE(registry.find_main()->online);
    EXPECT_TRUE(registry.find_main()->uiReady);
}

TEST_F(fault_watching, moves_in_the_very_cycle_that_sees_the_engine_dead) {
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_EQ(standing(), (std::set<std::string>{
                              "critical Main: Engine stopped or exited.",
                              "notice Engine stopped or exited.; operating on Backup. Return to "
                              "Main manually when ready."}));
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(fault_watching, answers_each_condition_by_its_mode) {
    watch();
    const std::vector<std::pair<fault_mode, std::string>> words{
        {mode_ignore, ""}, {mode_alert, "warning "}, {mode_failover, "critical "}};
    for (const fault_case& fault : fault_cases()) {
        SCOPED_TRACE(fault.name);
        const std::string name = fault.name;
        for (const auto& [mode, word] : words) {
            SCOPED_TRACE(word);
            if (name == "telemetry" || (name == "resources" && mode == mode_failover)) continue;
            protection_policy policy =
                parse_policy("{\"" + name + "\":" + std::to_string(mode) + "}");
            policy.armed = false;
            use_policy(policy);
            for (const bool on_main : {true, false}) {
                std::optional<server_health>& says = on_main ? main_says : backup_says;
                fault.change(*says);
                for (int cycle = 0; cycle < 50; ++cycle)
                    cycle_after(250ms);
                const std::string text =
                    (on_main ? "Main: " : "Backup: ") + std::string(fault.message);
                for (const auto& [other_mode, severity] : words)
                    if (other_mode != mode_ignore) {
                        EXPECT_EQ(stands(severity + text), other_mode == mode) << severity << text;
                    }
                says = healthy_server();
                cycle_after(250ms);
                EXPECT_TRUE(standing().empty()) << "one clean look ends it";
            }
        }
    }
}

TEST_F(fault_watching, confirms_each_condition_over_its_own_delay_without_a_break) {
    only_alert();
    change_policy([](protection_policy& policy) {
        policy.lossMs = 1500;
        policy.outputMs = 800;
        policy.outputRules = {rule_for("out", "", mode_alert)};
    });
    main_says->available_outputs = {{"out", true}};
    watch();
    struct delay_case {
        const char* message;
        health_change change;
        std::chrono::milliseconds delay;
    };
    const std::vector<delay_case> cases{
        {"Engine is not responding.", fault_cases()[1].change, 1500ms},
        {"Engaged external clock is unavailable or unlocked.", fault_cases()[3].change, 1500ms},
        {fault_cases()[4].message, fault_cases()[4].change, 10000ms},
        {fault_cases()[5].message, fault_cases()[5].change, 1500ms},
        {"Protected output unavailable: out",
         [](auto& health) { health.available_outputs["out"] = false; }, 800ms},
    };
    const server_health well = *main_says;
    for (const delay_case& each : cases) {
        SCOPED_TRACE(each.message);
        const std::string alert = "warning Main: " + std::string(each.message);
        each.change(*main_says);
        cycle_after(250ms);
        cycle_after(each.delay - 1ms);
        EXPECT_FALSE(stands(alert));
        main_says = well;
        cycle_after(1ms);
        EXPECT_FALSE(stands(alert));
        each.change(*main_says);
        cycle_after(1ms);
        cycle_after(each.delay - 1ms);
        EXPECT_FALSE(stands(alert)) << "the clean look started the delay over";
        cycle_after(1ms);
        EXPECT_TRUE(stands(alert));
        main_says = well;
        cycle_after(1ms);
        EXPECT_FALSE(stands(alert));
    }
}

TEST_F(fault_watching, raises_the_synchronization_alert_after_two_seconds_always_as_a_warning) {
    for (const fault_mode mode : {mode_alert, mode_failover}) {
        SCOPED_TRACE(mode);
        replicate(5);
        change_policy([&](protection_policy& policy) {
            policy.sync = mode;
            policy.armed = false;
        });
        watch();
        replicate(4);
        cycle_after(250ms);
        cycle_after(1999ms);
        EXPECT_FALSE(stands(out_of_step));
        cycle_after(1ms);
        EXPECT_TRUE(stands(out_of_step));
        EXPECT_EQ(stands(not_ready), mode == mode_failover);
        replicate(5);
        cycle_after(250ms);
        EXPECT_TRUE(standing().empty());
        restart();
    }
}

TEST_F(fault_watching, ignores_synchronization_at_mode_zero) {
    change_policy([](protection_policy& policy) { policy.sync = mode_ignore; });
    replicate(4);
    watch();
    for (int cycle = 0; cycle < 20; ++cycle)
        cycle_after(250ms);
    EXPECT_TRUE(standing().empty());
}

TEST_F(fault_watching, alerts_for_a_backup_fault_and_moves_nothing) {
    watch();
    backup_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_EQ(standing(),
              (std::set<std::string>{"critical Backup: Engine stopped or exited.", not_ready}));
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(held());
}

TEST_F(fault_watching, skips_on_backup_an_output_rule_that_names_none_there) {
    change_policy(
        [](protection_policy& policy) { policy.outputRules = {rule_for("left", "", mode_alert)}; });
    watch();
    cycle_after(2000ms);
    EXPECT_EQ(standing(),
              std::set<std::string>{"warning Main: Protected output unavailable: left"});
}

TEST_F(fault_watching, moves_for_a_protected_output_and_wants_it_on_backup) {
    change_policy([](protection_policy& policy) {
        policy.outputRules = {rule_for("left", "right", mode_failover)};
    });
    main_says->available_outputs = {{"left", true}};
    watch();
    EXPECT_EQ(standing(), std::set<std::string>{not_ready});
    backup_says->available_outputs = {{"right", true}};
    main_says->available_outputs.clear();
    cycle_after(250ms);
    cycle_after(999ms);
    EXPECT_EQ(registry.active_role(), "main");
    cycle_after(1ms);
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(stands("notice Protected output unavailable: left; operating on Backup. Return to "
                       "Main manually when ready."));
}

TEST_F(fault_watching, alerts_for_a_protected_output_of_backup_and_moves_nothing) {
    change_policy([](protection_policy& policy) {
        policy.outputRules = {rule_for("left", "right", mode_failover)};
    });
    main_says->available_outputs = {{"left", true}};
    backup_says->available_outputs = {{"right", true}};
    watch();
    backup_says->available_outputs.clear();
    const std::string alert = "critical Backup: Protected output unavailable: right";
    cycle_after(250ms);
    cycle_after(999ms);
    EXPECT_EQ(standing(), std::set<std::string>{not_ready});
    cycle_after(1ms);
    EXPECT_EQ(standing(), (std::set<std::string>{not_ready, alert}));
    EXPECT_NE(log_lines().back().find(R"("key":"B1:output:right")"), std::string::npos);
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(held());
}

TEST_F(fault_watching, leaves_the_alert_of_an_output_that_a_new_policy_names_no_more) {
    const auto protect = [&](const std::vector<output_rule>& rules) {
        change_policy([&](protection_policy& policy) { policy.outputRules = rules; });
    };
    protect({rule_for("left", "", mode_alert)});
    watch();
    cycle_after(1000ms);
    const std::set<std::string> alert{"warning Main: Protected output unavailable: left"};
    ASSERT_EQ(standing(), alert);
    const auto lines_before = log_lines();
    protect({});
    main_says->available_outputs = {{"left", true}};
    for (int cycle = 0; cycle < 20; ++cycle)
        cycle_after(250ms);
    EXPECT_EQ(standing(), alert);
    EXPECT_EQ(alerts().size(), 1U);
    EXPECT_EQ(log_lines(), lines_before);
    protect({rule_for("left", "", mode_alert)});
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty()) << "named again, it ends like any other";
}

TEST_F(fault_watching, confirms_no_output_of_backup_that_an_ignored_rule_names_as_well) {
    change_policy([](protection_policy& policy) {
        policy.outputRules = {rule_for("left", "right", mode_failover),
                              rule_for("other", "right", mode_ignore)};
    });
    main_says->available_outputs = {{"left", true}, {"other", true}};
    watch();
    for (int cycle = 0; cycle < 20; ++cycle)
        cycle_after(250ms);
    EXPECT_EQ(standing(), std::set<std::string>{not_ready});
}

TEST_F(fault_watching, fires_no_frame_fault_without_telemetry_yet_wants_it_of_backup) {
    main_says->telemetryAvailable = false;
    main_says->frameStalled = true;
    backup_says->telemetryAvailable = false;
    watch();
    cycle_after(1000ms);
    const std::string untold =
        "Frame/output telemetry unavailable; update Elvantris and its engine.";
    EXPECT_EQ(standing(), (std::set<std::string>{"warning Main: " + untold,
                                                 "warning Backup: " + untold, not_ready}));
    EXPECT_EQ(registry.active_role(), "main");
}

TEST_F(fault_watching, leaves_an_alert_as_it_was_raised_when_the_mode_changes) {
    only_alert();
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    change_policy([](protection_policy& policy) {
        policy.engine = mode_failover;
        policy.armed = false;
    });
    cycle_after(250ms);
    EXPECT_EQ(standing(), std::set<std::string>{"warning Main: Engine stopped or exited."});
}

TEST_F(fault_watching, starts_every_delay_over_under_a_new_policy) {
    only_alert();
    watch();
    main_says->engineResponsive = false;
    cycle_after(250ms);
    cycle_after(900ms);
    change_policy([](protection_policy&) {});
    cycle_after(100ms);
    cycle_after(999ms);
    EXPECT_TRUE(standing().empty());
    cycle_after(1ms);
    EXPECT_TRUE(stands("warning Main: Engine is not responding."));
}

TEST_F(fault_watching, keeps_the_delays_running_when_a_new_policy_could_not_be_saved) {
    only_alert();
    watch();
    main_says->engineResponsive = false;
    cycle_after(250ms);
    cycle_after(900ms);
    break_saving();
    protection_policy policy;
    policy.lossMs = 30000;
    EXPECT_FALSE(protection->replace_policy(policy, error));
    EXPECT_EQ(error, "Protection settings could not be saved.");
    EXPECT_EQ(shown().policy.lossMs, 1000U);
    cycle_after(100ms);
    EXPECT_TRUE(stands("warning Main: Engine is not responding."));
}

TEST_F(fault_watching, evaluates_nothing_without_a_pair_and_goes_on_where_it_was) {
    only_alert();
    watch();
    backup_says->engineRunning = false;
    main_says->engineResponsive = false;
    cycle_after(250ms);
    const auto before = standing();
    ASSERT_TRUE(before.contains("warning Backup: Engine stopped or exited."));
    registry.set_role("B1", system_role::independent, "");
    backup_says = healthy_server();
    cycle_after(500ms);
    EXPECT_EQ(standing(), before) << "no alert is cleared";
    registry.set_role("B1", system_role::backup, "M1");
    cycle_after(500ms);
    EXPECT_EQ(standing(), std::set<std::string>{"warning Main: Engine is not responding."})
        << "its delay ran on, for no timer was touched";
}

TEST_F(fault_watching, ends_every_alert_of_a_former_pair_without_a_line_in_the_log) {
    watch();
    backup_says->engineRunning = false;
    cycle_after(250ms);
    const auto lines_before = log_lines();
    ASSERT_EQ(lines_before.size(), 2U);
    registry.configure(true, "M1", "B2");
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty());
    for (const alert_record& alert : alerts())
        EXPECT_EQ(alert.recovered, now.wall_ms);
    EXPECT_EQ(log_lines(), lines_before);
    EXPECT_EQ(saved().pairBackup, "B2");
    cycle_after(4999ms);
    EXPECT_TRUE(standing().empty()) << "a new pair has a grace of its own";
    cycle_after(1ms);
    EXPECT_TRUE(stands("critical Backup: Server communication lost."));
}

TEST_F(fault_watching, starts_every_delay_over_with_a_new_pair) {
    only_alert();
    watch();
    main_says->engineResponsive = false;
    cycle_after(250ms);
    registry.configure(true, "M1", "B2");
    cycle_after(250ms);
    cycle_after(5000ms);
    cycle_after(999ms);
    EXPECT_FALSE(stands("warning Main: Engine is not responding."));
    cycle_after(1ms);
    EXPECT_TRUE(stands("warning Main: Engine is not responding."));
}

TEST_F(fault_watching, adopts_a_new_pair_even_if_that_can_not_be_saved) {
    watch();
    break_saving();
    registry.configure(true, "M1", "B2");
    cycle_after(250ms);
    cycle_after(250ms);
    EXPECT_EQ(saved().pairBackup, "B1");
    mend_saving();
    EXPECT_TRUE(operate("disarm"));
    EXPECT_EQ(saved().pairBackup, "B2");
}

TEST_F(fault_watching, shows_a_failed_cycle_until_the_next_good_one) {
    watch();
    protection->note_monitor_failure("out of threads", now);
    EXPECT_EQ(standing(),
              std::set<std::string>{"critical Protection monitor error: out of threads"});
    registry.set_role("B1", system_role::independent, "");
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty());
    EXPECT_EQ(log_lines().back(), R"({"time":)" + std::to_string(now.wall_ms) +
                                      R"(,"event":"recovered","key":"monitor"})");
}

TEST_F(fault_watching, logs_each_alert_once_when_it_begins_and_once_when_it_ends) {
    watch();
    backup_says->engineRunning = false;
    cycle_after(250ms);
    const std::string began = std::to_string(now.wall_ms);
    cycle_after(250ms);
    cycle_after(250ms);
    backup_says->engineRunning = true;
    cycle_after(250ms);
    const std::string ended = std::to_string(now.wall_ms);
    cycle_after(250ms);
    const auto line = [](const std::string& time, const std::string& rest) {
        return R"({"time":)" + time + R"(,"event":)" + rest + '}';
    };
    EXPECT_EQ(
        log_lines(),
        (std::vector<std::string>{
            line(began, R"("fault","key":"B1:engine",)"
                        R"("message":"Backup: Engine stopped or exited.")"),
            line(began, R"("fault","key":"backup-readiness",)"
                        R"("message":"Backup is not ready; automatic protection is degraded.")"),
            line(ended, R"("recovered","key":"B1:engine")"),
            line(ended, R"("recovered","key":"backup-readiness")")}));
}

TEST_F(fault_watching, needs_no_log) {
    std::filesystem::create_directory(state_path() + ".alerts.jsonl");
    watch();
    backup_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_TRUE(stands("critical Backup: Engine stopped or exited."));
    backup_says->engineRunning = true;
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty());
    EXPECT_TRUE(operate("backup")) << error;
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(fault_watching, brings_a_fault_that_recurs_back_unacknowledged) {
    only_alert();
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(operate("acknowledge"));
    EXPECT_TRUE(alerts().back().acknowledged);
    EXPECT_TRUE(alerts().back().active);
    main_says->engineRunning = true;
    cycle_after(250ms);
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_EQ(alerts().size(), 2U);
    EXPECT_TRUE(alerts()[0].acknowledged);
    EXPECT_FALSE(alerts()[0].active);
    EXPECT_FALSE(alerts()[1].acknowledged);
    EXPECT_GT(alerts()[1].id, alerts()[0].id);
}

TEST_F(fault_watching, moves_nothing_in_a_cycle_whose_polls_failed_through_the_workstation) {
    watch();
    main_says.reset();
    const moment lost_at{.steady = now.steady + 1000ms, .wall_ms = now.wall_ms + 1000};
    protection->note_health("B1", healthy_server());
    now.steady += 10ms;
    hear("B1", healthy_server());
    protection->evaluate_cycle(lost_at, {.holds_operation = true, .lacks_resources = false});
    EXPECT_TRUE(stands("critical Main: Server communication lost."));
    EXPECT_EQ(standing().size(), 1U);
    EXPECT_FALSE(held());
    protection->evaluate_cycle(lost_at);
    EXPECT_TRUE(held()) << "the next cycle decides afresh";
}

TEST_F(fault_watching, tells_of_polls_for_which_the_workstation_lacked_the_means) {
    watch();
    protection->evaluate_cycle(now, {.holds_operation = true, .lacks_resources = true});
    EXPECT_TRUE(stands("critical Protection monitor error: no socket or memory "
                       "for a health poll."));
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty()) << "the next good cycle clears it";
}
