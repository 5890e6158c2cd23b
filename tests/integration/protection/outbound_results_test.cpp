#include "watched_pair.hpp"

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class outbound_results : public watched_pair {
protected:
    // A test of action 0, taken by the worker.
    outbound_sequence running_test() {
        EXPECT_TRUE(protection->test_action(0, error)) << error;
        return protection->take_sequence();
    }
    void run_test(bool sent, const std::string& failure) {
        const outbound_sequence sequence = running_test();
        protection->record_step(sequence, sequence.steps.at(0), sent, failure, now);
        protection->finish_sequence(sequence, sent);
    }
    void use_action(const outbound_action& action) {
        change_policy([&](protection_policy& policy) { policy.actions = {action}; });
    }
    std::string refusal_of_test(std::int32_t index) {
        EXPECT_FALSE(protection->test_action(index, error));
        return error;
    }
};

} // namespace

TEST_F(outbound_results, test_only_an_action_that_is_saved_and_enabled_and_alone) {
    const std::string unsaved = "Save the action before testing it.";
    EXPECT_EQ(refusal_of_test(0), unsaved);
    outbound_action disabled = enabled_action("off", "main");
    disabled.enabled = false;
    change_policy([&](protection_policy& policy) {
        policy.actions = {enabled_action("A", "backup"), disabled};
    });
    EXPECT_EQ(refusal_of_test(-1), unsaved);
    EXPECT_EQ(refusal_of_test(2), unsaved);
    EXPECT_EQ(refusal_of_test(1), "Enable and save the action before testing it.");
    EXPECT_FALSE(busy());
    ASSERT_TRUE(protection->test_action(0, error));
    EXPECT_TRUE(busy());
    const std::string already = "An outbound sequence is already running.";
    EXPECT_EQ(refusal_of_test(0), already) << "queued";
    const outbound_sequence sequence = protection->take_sequence();
    EXPECT_EQ(sequence.name, "Test action");
    ASSERT_EQ(sequence.steps.size(), 1U);
    EXPECT_EQ(sequence.steps[0].name, "A");
    EXPECT_EQ(refusal_of_test(0), already) << "running";
    EXPECT_EQ(refusal_of_test(1), "Enable and save the action before testing it.");
    EXPECT_EQ(refusal_of_test(7), unsaved);
    protection->finish_sequence(sequence, true);
    EXPECT_TRUE(protection->test_action(0, error));
}

TEST_F(outbound_results, run_on_copies_that_a_new_policy_does_not_change) {
    use_action(enabled_action("A", "backup"));
    ASSERT_TRUE(protection->test_action(0, error));
    use_policy(protection_policy{});
    EXPECT_TRUE(busy());
    EXPECT_EQ(protection->take_sequence().steps.at(0).name, "A");
}

TEST_F(outbound_results, tell_the_last_step_and_then_the_whole_sequence) {
    use_action(enabled_action("A", "backup"));
    const outbound_sequence sequence = running_test();
    protection->record_step(sequence, sequence.steps[0], true, "", now);
    EXPECT_EQ(last_action(), "Test action / A: sent; device execution unconfirmed.");
    EXPECT_TRUE(busy());
    protection->finish_sequence(sequence, true);
    EXPECT_EQ(last_action(), "Test action: sequence sent; device execution unconfirmed.");
    EXPECT_FALSE(busy());
    EXPECT_TRUE(alerts().empty());
    EXPECT_EQ(log_lines(),
              std::vector<std::string>{
                  R"({"time":)" + std::to_string(now.wall_ms) +
                  R"(,"event":"action","message":"Test action / A: sent; device execution )"
                  R"(unconfirmed."})"})
        << "the final text goes to no log";
}

TEST_F(outbound_results, stay_on_a_step_that_failed_and_raise_its_alert_once) {
    use_action(enabled_action("A:1", "main"));
    run_test(false, "Destination could not be resolved.");
    const std::string text = "Test action / A:1: Destination could not be resolved.";
    EXPECT_EQ(last_action(), text);
    EXPECT_FALSE(busy());
    EXPECT_EQ(standing(), std::set<std::string>{"critical " + text});
    run_test(false, "Something else.");
    EXPECT_EQ(last_action(), "Test action / A:1: Something else.");
    EXPECT_EQ(standing(), std::set<std::string>{"critical " + text});
    const std::string time = R"({"time":)" + std::to_string(now.wall_ms);
    const auto lines = log_lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0],
              time + R"(,"event":"fault","key":"action:A:1:main","message":")" + text + R"("})");
    EXPECT_EQ(lines[1], time + R"(,"event":"action","message":")" + text + R"("})");
    EXPECT_EQ(lines[2], time + R"(,"event":"action","message":"Test action / A:1: )"
                               R"(Something else."})");
}

TEST_F(outbound_results, clear_a_failure_with_the_next_success_of_the_same_name_and_event) {
    use_action(enabled_action("A", "main"));
    run_test(false, "failed.");
    ASSERT_EQ(standing().size(), 1U);
    use_action(enabled_action("A", "backup"));
    run_test(true, "");
    EXPECT_EQ(standing().size(), 1U) << "another event";
    use_action(enabled_action("B", "main"));
    run_test(true, "");
    EXPECT_EQ(standing().size(), 1U) << "another name";
    use_action(enabled_action("A", "main"));
    run_test(true, "");
    EXPECT_TRUE(standing().empty());
}

TEST_F(outbound_results, keep_the_last_text_of_a_sequence_that_was_cut_short) {
    use_action(enabled_action("A", "backup"));
    const outbound_sequence sequence = running_test();
    protection->record_step(sequence, sequence.steps[0], true, "", now);
    protection->finish_sequence(sequence, false);
    EXPECT_EQ(last_action(), "Test action / A: sent; device execution unconfirmed.");
    EXPECT_FALSE(busy());
}
