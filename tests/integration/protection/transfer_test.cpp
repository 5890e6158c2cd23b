#include "watched_pair.hpp"

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class transfer : public watched_pair {
protected:
    std::vector<std::string> queued_steps() {
        std::vector<std::string> names;
        if (!protection->sequence_waiting()) return names;
        for (const outbound_action& step : protection->take_sequence().steps)
            names.push_back(step.name);
        return names;
    }
    std::string refusal_of(std::string_view operation) {
        EXPECT_FALSE(operate(operation));
        return error;
    }
};

const std::string not_ready_for_takeover =
    "Requested server is not ready for takeover. Check engine and protected outputs.";
const std::string engine_notice = "notice Engine stopped or exited.; operating on Backup. Return "
                                  "to Main manually when ready.";
const std::string to_backup_notice =
    "notice Operator requested transfer; operating on Backup. Return to Main manually when ready.";
const std::string to_main_notice = "notice Operator requested transfer; operating on Main.";
const std::string blocked_by_readiness =
    "critical Main fault detected; failover blocked because Backup is not ready.";
const std::string blocked_by_sequence =
    "critical Main fault detected; waiting for the current outbound sequence.";
const std::string not_persisted = "critical Could not persist active server; transfer was blocked.";

} // namespace

TEST_F(transfer, waits_blocked_until_backup_is_ready) {
    backup_says->engineStarting = true;
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    cycle_after(250ms);
    EXPECT_TRUE(stands(blocked_by_readiness));
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(held());
    backup_says->engineStarting = false;
    cycle_after(250ms);
    EXPECT_FALSE(stands(blocked_by_readiness));
    EXPECT_TRUE(stands(engine_notice));
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(transfer, does_not_follow_a_fault_that_ended_while_it_was_blocked) {
    backup_says->engineStarting = true;
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(stands(blocked_by_readiness));
    main_says->engineRunning = true;
    backup_says->engineStarting = false;
    cycle_after(250ms);
    EXPECT_TRUE(standing().empty());
    EXPECT_FALSE(held());
}

TEST_F(transfer, waits_for_a_sequence_that_is_queued_or_running) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("A", "backup")}; });
    watch();
    ASSERT_TRUE(protection->test_action(0, error));
    main_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_TRUE(stands(blocked_by_sequence));
    const outbound_sequence running = protection->take_sequence();
    EXPECT_TRUE(busy());
    cycle_after(250ms);
    EXPECT_TRUE(stands(blocked_by_sequence));
    EXPECT_FALSE(held());
    protection->finish_sequence(running, true);
    cycle_after(250ms);
    EXPECT_FALSE(stands(blocked_by_sequence));
    EXPECT_TRUE(held());
}

TEST_F(transfer, keeps_the_first_reason_of_a_block_while_the_block_stands) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("A", "backup")}; });
    backup_says->engineStarting = true;
    watch();
    ASSERT_TRUE(protection->test_action(0, error));
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(stands(blocked_by_readiness)) << "readiness is judged before the sequence";
    backup_says->engineStarting = false;
    cycle_after(250ms);
    EXPECT_TRUE(stands(blocked_by_readiness));
    EXPECT_FALSE(stands(blocked_by_sequence));
    EXPECT_FALSE(held());
}

TEST_F(transfer, is_given_up_by_disarming_and_needs_an_enabled_pair) {
    backup_says->engineStarting = true;
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(stands(blocked_by_readiness));
    ASSERT_TRUE(operate("disarm"));
    cycle_after(250ms);
    EXPECT_FALSE(stands(blocked_by_readiness));
    EXPECT_TRUE(stands("critical Main: Engine stopped or exited."));
    backup_says->engineStarting = false;
    cycle_after(250ms);
    EXPECT_FALSE(held());
    registry.configure(false, "", "");
    ASSERT_TRUE(operate("arm"));
    cycle_after(250ms);
    EXPECT_FALSE(held());
    registry.configure(true, "", "");
    cycle_after(250ms);
    EXPECT_TRUE(held());
}

TEST_F(transfer, names_the_first_critical_condition_of_main_alone) {
    change_policy([](protection_policy& policy) { policy.engine = mode_alert; });
    watch();
    main_says->engineRunning = false;
    main_says->frameStalled = true;
    cycle_after(250ms);
    EXPECT_FALSE(held()) << "a warning requests nothing";
    main_says.reset();
    cycle_after(1000ms);
    EXPECT_TRUE(stands("notice Server communication lost.; operating on Backup. Return to Main "
                       "manually when ready."));
}

TEST_F(transfer, takes_the_first_of_several_critical_conditions_for_its_reason) {
    change_policy([](protection_policy& policy) {
        policy.armed = false;
        policy.outputRules = {rule_for("left", "right", mode_failover)};
    });
    backup_says->available_outputs = {{"right", true}};
    main_says->frameStalled = true;
    watch();
    cycle_after(1000ms);
    ASSERT_TRUE(stands("critical Main: Protected output unavailable: left"));
    ASSERT_TRUE(operate("arm"));
    cycle_after(250ms);
    EXPECT_TRUE(stands("notice Engine channel frame progress stalled.; operating on Backup. Return "
                       "to Main manually when ready."));
}

TEST_F(transfer, holds_on_backup_whatever_becomes_of_main) {
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(held());
    EXPECT_TRUE(saved().heldOnBackup);
    main_says->engineRunning = true;
    cycle_after(250ms);
    EXPECT_EQ(standing(), std::set<std::string>{engine_notice});
    EXPECT_EQ(registry.active_role(), "backup");
    main_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_EQ(standing(),
              (std::set<std::string>{engine_notice, "critical Main: Engine stopped or exited."}));
    EXPECT_TRUE(held());
    backup_says.reset();
    cycle_after(1000ms);
    EXPECT_EQ(registry.active_role(), "none") << "no other server takes the place of a pinned one";
}

TEST_F(transfer, gives_a_second_failover_a_notice_of_its_own) {
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    main_says->engineRunning = true;
    cycle_after(250ms);
    ASSERT_TRUE(operate("main"));
    EXPECT_TRUE(stands(to_main_notice));
    main_says->engineRunning = false;
    cycle_after(250ms);
    int notices = 0;
    int standing_notices = 0;
    for (const alert_record& alert : alerts()) {
        notices += alert.severity == alert_severity::notice ? 1 : 0;
        standing_notices += alert.severity == alert_severity::notice && alert.active ? 1 : 0;
    }
    EXPECT_EQ(notices, 3);
    EXPECT_EQ(standing_notices, 1);
    EXPECT_TRUE(stands(engine_notice));
}

TEST_F(transfer, is_logged_with_its_notice) {
    watch();
    ASSERT_TRUE(operate("backup"));
    now.wall_ms += 7;
    ASSERT_TRUE(operate("main"));
    const std::string first = std::to_string(now.wall_ms - 7);
    const std::string second = std::to_string(now.wall_ms);
    EXPECT_EQ(
        log_lines(),
        (std::vector<std::string>{
            R"({"time":)" + first +
                R"(,"event":"fault","key":"transfer","message":"Operator requested transfer; )"
                R"(operating on Backup. Return to Main manually when ready."})",
            R"({"time":)" + second + R"(,"event":"recovered","key":"transfer"})",
            R"({"time":)" + second +
                R"(,"event":"fault","key":"transfer","message":"Operator requested transfer; )"
                R"(operating on Main."})"}));
}

TEST_F(transfer, on_request_does_nothing_where_the_target_is_active_already) {
    change_policy([](protection_policy& policy) {
        policy.actions = {enabled_action("out", "backup"), enabled_action("back", "main")};
    });
    watch();
    EXPECT_TRUE(operate("main"));
    EXPECT_TRUE(alerts().empty());
    EXPECT_FALSE(busy());
    ASSERT_TRUE(operate("backup"));
    protection->finish_sequence(protection->take_sequence(), true);
    const auto notices = alerts().size();
    EXPECT_TRUE(operate("backup"));
    EXPECT_EQ(alerts().size(), notices);
    EXPECT_FALSE(busy());
    EXPECT_TRUE(held());
}

TEST_F(transfer, on_request_needs_neither_arming_nor_the_end_of_the_grace) {
    protection->begin(now.steady);
    cycle_after(0ms);
    ASSERT_TRUE(operate("disarm"));
    ASSERT_TRUE(operate("backup"));
    EXPECT_TRUE(held());
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(stands(to_backup_notice));
    ASSERT_TRUE(operate("main"));
    EXPECT_FALSE(held());
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(saved().heldOnBackup);
}

TEST_F(transfer, on_request_wants_an_enabled_pair_and_a_ready_target) {
    protection->begin(now.steady);
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover) << "Backup has not been heard yet";
    watch();
    registry.configure(false, "", "");
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover);
    EXPECT_EQ(refusal_of("main"), not_ready_for_takeover);
    registry.configure(true, "", "");
    backup_says->engineResponsive = false;
    cycle_after(250ms);
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover);
    registry.set_role("B1", system_role::independent, "");
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover);
    registry.set_role("M1", system_role::independent, "");
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover);
    EXPECT_EQ(refusal_of("main"), not_ready_for_takeover);
    EXPECT_FALSE(held());
}

TEST_F(transfer, on_request_counts_for_a_pair_that_no_cycle_has_seen_yet) {
    watch();
    registry.configure(true, "B1", "M1");
    ASSERT_TRUE(operate("backup")) << error;
    EXPECT_EQ(registry.active_system()->serial, "M1");
    EXPECT_EQ(saved().pairMain, "B1");
    EXPECT_EQ(saved().pairBackup, "M1");
    cycle_after(250ms);
    EXPECT_TRUE(held());
    EXPECT_EQ(registry.active_system()->serial, "M1");
}

TEST_F(transfer, on_request_does_nothing_where_a_new_pairs_main_is_asked_for) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("back", "main")}; });
    hold_on_backup();
    registry.configure(true, "M1", "B2");
    ASSERT_TRUE(operate("main")) << error;
    EXPECT_FALSE(held());
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(busy());
}

TEST_F(transfer, of_a_pair_that_changed_and_changed_back_leaves_main_active) {
    watch();
    registry.configure(true, "B1", "M1");
    ASSERT_TRUE(operate("main")) << error;
    registry.configure(true, "M1", "B1");
    cycle_after(250ms);
    EXPECT_FALSE(held());
    EXPECT_EQ(registry.active_system()->serial, "M1");
}

TEST_F(transfer, to_backup_as_a_main_without_a_backup_ends_when_the_pair_comes_back) {
    watch();
    registry.configure(true, "B1", "M1");
    registry.set_role("M1", system_role::independent, "");
    cycle_after(250ms);
    ASSERT_TRUE(operate("main")) << error;
    ASSERT_EQ(registry.active_system()->serial, "B1");
    registry.configure(true, "M1", "B1");
    cycle_after(250ms);
    EXPECT_FALSE(held());
    EXPECT_EQ(registry.active_system()->serial, "M1") << "never on Backup without a hold";
}

TEST_F(transfer, to_backup_counts_as_soon_as_its_pair_is_back) {
    watch();
    registry.configure(true, "B1", "M1");
    registry.set_role("M1", system_role::independent, "");
    cycle_after(250ms);
    ASSERT_TRUE(operate("main")) << error;
    registry.configure(true, "M1", "B1");
    ASSERT_TRUE(operate("backup")) << error;
    EXPECT_TRUE(held());
    cycle_after(250ms);
    EXPECT_TRUE(held());
    EXPECT_EQ(registry.active_system()->serial, "B1");
}

TEST_F(transfer, on_request_runs_no_action_again_before_the_first_cycle_after_a_restart) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("cue", "backup")}; });
    hold_on_backup();
    restart();
    protection->begin(now.steady);
    hear("M1", main_says);
    hear("B1", backup_says);
    ASSERT_TRUE(operate("backup")) << error;
    EXPECT_FALSE(busy());
    EXPECT_TRUE(standing().empty());
    EXPECT_TRUE(held());
}

TEST_F(transfer, back_to_a_main_that_is_still_faulted_is_refused) {
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(held());
    EXPECT_EQ(refusal_of("main"), not_ready_for_takeover);
    EXPECT_TRUE(held());
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(transfer, back_to_main_asks_for_no_synchronization) {
    hold_on_backup();
    change_policy([](protection_policy& policy) { policy.sync = mode_failover; });
    EXPECT_TRUE(operate("main"));
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_EQ(refusal_of("backup"), not_ready_for_takeover) << "Main's revision is unknown";
}

TEST_F(transfer, queues_the_enabled_actions_of_its_event_in_their_order) {
    change_policy([](protection_policy& policy) {
        policy.actions = {enabled_action("A", "backup"), enabled_action("B", "main"),
                          enabled_action("C", "backup"), enabled_action("D", "backup"),
                          enabled_action("E", "main")};
        policy.actions[2].enabled = false;
    });
    watch();
    ASSERT_TRUE(operate("backup"));
    EXPECT_TRUE(busy());
    const outbound_sequence out = protection->take_sequence();
    EXPECT_EQ(out.name, "Transfer to Backup");
    ASSERT_EQ(out.steps.size(), 2U);
    EXPECT_EQ(out.steps[0].name, "A");
    EXPECT_EQ(out.steps[1].name, "D");
    EXPECT_EQ(refusal_of("main"),
              "Wait for the outbound sequence to finish before transferring again.");
    protection->finish_sequence(out, true);
    EXPECT_FALSE(busy());
    ASSERT_TRUE(operate("main"));
    EXPECT_EQ(refusal_of("backup"),
              "Wait for the outbound sequence to finish before transferring again.")
        << "a sequence that waits counts like one that runs";
    const outbound_sequence back = protection->take_sequence();
    EXPECT_EQ(back.name, "Return to Main");
    ASSERT_EQ(back.steps.size(), 2U);
    EXPECT_EQ(back.steps[0].name, "B");
    EXPECT_EQ(back.steps[1].name, "E");
}

TEST_F(transfer, queues_nothing_without_an_enabled_action_of_its_event) {
    change_policy([](protection_policy& policy) {
        policy.actions = {enabled_action("A", "main"), enabled_action("B", "backup")};
        policy.actions[1].enabled = false;
    });
    watch();
    ASSERT_TRUE(operate("backup"));
    EXPECT_FALSE(busy());
    EXPECT_FALSE(protection->sequence_waiting());
}

TEST_F(transfer, runs_the_actions_of_an_automatic_failover_too) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("A", "backup")}; });
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_EQ(queued_steps(), std::vector<std::string>{"A"});
}

TEST_F(transfer, that_can_not_be_saved_moves_nothing_and_is_tried_in_each_cycle) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("A", "backup")}; });
    watch();
    break_saving();
    main_says->engineRunning = false;
    cycle_after(250ms);
    cycle_after(250ms);
    EXPECT_EQ(standing(),
              (std::set<std::string>{"critical Main: Engine stopped or exited.", not_persisted}));
    EXPECT_EQ(alerts().size(), 2U) << "each further try raises nothing new";
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(held());
    EXPECT_FALSE(busy());
    EXPECT_FALSE(saved().heldOnBackup);
    mend_saving();
    cycle_after(250ms);
    EXPECT_FALSE(stands(not_persisted));
    EXPECT_TRUE(stands(engine_notice));
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(saved().heldOnBackup);
}

TEST_F(transfer, is_no_longer_blocked_once_it_is_tried_though_it_can_not_be_saved) {
    backup_says->engineStarting = true;
    watch();
    main_says->engineRunning = false;
    cycle_after(250ms);
    ASSERT_TRUE(stands(blocked_by_readiness));
    break_saving();
    backup_says->engineStarting = false;
    cycle_after(250ms);
    EXPECT_EQ(standing(),
              (std::set<std::string>{"critical Main: Engine stopped or exited.", not_persisted}));
}

TEST_F(transfer, back_that_can_not_be_saved_leaves_backup_active) {
    hold_on_backup();
    break_saving();
    EXPECT_EQ(refusal_of("main"), "Could not persist active server; transfer was blocked.");
    EXPECT_TRUE(held());
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(stands(to_backup_notice));
    EXPECT_TRUE(stands(not_persisted));
    mend_saving();
    ASSERT_TRUE(operate("arm"));
    EXPECT_TRUE(stands(not_persisted)) << "only a transfer that is saved clears it";
    ASSERT_TRUE(operate("main"));
    EXPECT_FALSE(stands(not_persisted));
}

TEST_F(transfer, ends_with_a_change_of_the_pair_and_runs_no_action_then) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("back", "main")}; });
    hold_on_backup();
    registry.configure(true, "M1", "B2");
    cycle_after(250ms);
    EXPECT_FALSE(held());
    EXPECT_FALSE(saved().heldOnBackup);
    EXPECT_EQ(registry.active_role(), "main");
    EXPECT_FALSE(busy());
}

TEST_F(transfer, survives_a_restart_of_the_same_pair) {
    hold_on_backup();
    registry.set_active_override(false, "");
    restart();
    ASSERT_EQ(registry.active_role(), "main");
    protection->begin(now.steady);
    EXPECT_EQ(registry.active_role(), "backup") << "before the first cycle";
    EXPECT_TRUE(held());
    main_says.reset();
    cycle_after(5000ms);
    cycle_after(250ms);
    EXPECT_EQ(standing(), std::set<std::string>{"critical Main: Server communication lost."});
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(held());
}

TEST_F(transfer, is_forgotten_by_a_restart_with_another_main_or_backup) {
    const std::vector<std::pair<std::string, std::string>> other_pairs{{"M1", "B2"}, {"B2", "B1"}};
    for (const auto& [main, backup] : other_pairs) {
        SCOPED_TRACE(main + ' ' + backup);
        registry.configure(true, "M1", "B1");
        hold_on_backup();
        registry.configure(true, main, backup);
        registry.set_online("B2", true, now.steady);
        restart();
        protection->begin(now.steady);
        EXPECT_EQ(registry.active_role(), "main");
        EXPECT_TRUE(held());
        hear("B2", healthy_server());
        cycle_after(250ms);
        EXPECT_FALSE(held());
        EXPECT_FALSE(saved().heldOnBackup);
        EXPECT_EQ(registry.active_role(), "main");
    }
}

TEST_F(transfer, of_a_pair_that_starts_without_a_hold_pins_main) {
    watch();
    registry.set_active_override(false, "");
    registry.set_online("M1", false, now.steady);
    ASSERT_EQ(registry.active_role(), "backup");
    restart();
    protection->begin(now.steady);
    EXPECT_EQ(registry.active_role(), "none");
}

TEST_F(transfer, pins_nothing_at_the_start_of_a_disabled_pair) {
    watch();
    registry.configure(false, "", "");
    registry.set_active_override(false, "");
    restart();
    protection->begin(now.steady);
    registry.configure(true, "", "");
    registry.set_online("M1", false, now.steady);
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(transfer, gives_way_while_the_pair_is_disabled_and_comes_back_with_it) {
    hold_on_backup();
    registry.configure(false, "", "");
    cycle_after(250ms);
    registry.configure(true, "", "");
    EXPECT_EQ(registry.active_role(), "main") << "the override was taken away within a cycle";
    cycle_after(250ms);
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(held());
}

TEST_F(transfer, outlasts_the_absence_of_its_pair) {
    hold_on_backup();
    registry.set_role("B1", system_role::independent, "");
    cycle_after(250ms);
    EXPECT_TRUE(held());
    registry.set_role("B1", system_role::backup, "M1");
    EXPECT_EQ(registry.active_role(), "main") << "no pair, no override";
    cycle_after(250ms);
    EXPECT_EQ(registry.active_role(), "backup");
}

TEST_F(transfer, operations_arm_and_disarm_are_saved_or_undone) {
    watch();
    ASSERT_TRUE(operate("disarm"));
    EXPECT_FALSE(saved().policy.armed);
    ASSERT_TRUE(operate("arm"));
    EXPECT_TRUE(saved().policy.armed);
    break_saving();
    EXPECT_EQ(refusal_of("disarm"), "Could not save protection state.");
    EXPECT_TRUE(shown().policy.armed);
}

TEST_F(transfer, operations_that_change_nothing_to_keep_save_nothing) {
    change_policy(
        [](protection_policy& policy) { policy.actions = {enabled_action("A", "main")}; });
    hold_on_backup();
    std::filesystem::remove(state_path());
    EXPECT_TRUE(operate("acknowledge"));
    EXPECT_TRUE(operate("backup")) << "active already";
    EXPECT_EQ(refusal_of("restart"), "Unknown protection operation.");
    EXPECT_TRUE(protection->test_action(0, error)) << error;
    const outbound_sequence sequence = protection->take_sequence();
    EXPECT_EQ(refusal_of("main"),
              "Wait for the outbound sequence to finish before transferring again.");
    protection->record_step(sequence, sequence.steps.at(0), false, "failed.", now);
    protection->finish_sequence(sequence, false);
    main_says->engineRunning = false;
    cycle_after(250ms);
    EXPECT_EQ(refusal_of("main"), not_ready_for_takeover);
    EXPECT_FALSE(std::filesystem::exists(state_path()));
}

TEST_F(transfer, operations_are_five_words) {
    watch();
    for (const char* word : {"", "Backup", "acknowledge ", "restart"}) {
        SCOPED_TRACE(word);
        EXPECT_EQ(refusal_of(word), "Unknown protection operation.");
    }
    EXPECT_TRUE(operate("acknowledge")) << "there need be nothing to acknowledge";
}
