#include "watched_pair.hpp"

#include "integration/support/failing_memory.hpp"
#include "protection/outbound_sending.hpp"

#include <atomic>
#include <new>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class exhausted_memory : public watched_pair {
protected:
    exhausted_memory() {
        change_policy([](protection_policy& policy) {
            policy.actions = {enabled_action("an action with a rather long name", "backup")};
        });
        watch();
    }

    // Runs the act with no memory at all, then with one piece, and so on until it has enough.
    template<typename act_type, typename check_type>
    void run_short_of_memory(const act_type& act, const check_type& check) {
        bool enough = false;
        for (int pieces = 0; !enough; ++pieces) {
            SCOPED_TRACE(pieces);
            ASSERT_LT(pieces, 5000);
            {
                const failing_memory memory(pieces);
                try {
                    act();
                } catch (const std::bad_alloc&) {
                    EXPECT_TRUE(memory.exhausted());
                }
                enough = !memory.exhausted();
            }
            check(enough);
        }
    }

    void expect_one_side() {
        EXPECT_EQ(saved().heldOnBackup, held());
        EXPECT_EQ(registry.active_role(), held() ? "backup" : "main");
        EXPECT_EQ(busy(), held()) << "the outside device is told of what was done, and of no more";
    }
    // A copy of such a serial, and a key with it, wants memory of its own.
    void use_long_serials() {
        main_serial = "M1 with a serial too long to lie within its string";
        backup_serial = "B1 with a serial too long to lie within its string";
        registry.merge_discovered({{"127.0.0.4", 5000, "Stage left", main_serial},
                                   {"127.0.0.5", 5000, "Stage right", backup_serial}},
                                  now.steady);
        registry.configure(true, main_serial, backup_serial);
        watch();
    }
    void return_to_main() {
        if (!held()) return;
        protection->finish_sequence(protection->take_sequence(), true);
        main_says = healthy_server();
        cycle_after(250ms);
        ASSERT_TRUE(operate("main")) << error;
    }
};

} // namespace

TEST_F(exhausted_memory,
       leaves_memory_disk_and_registry_on_the_same_side_in_an_operators_transfer) {
    run_short_of_memory([&] { protection->operate("backup", now, error); },
                        [&](bool enough) {
                            expect_one_side();
                            EXPECT_TRUE(held() || !enough);
                            return_to_main();
                        });
}

TEST_F(exhausted_memory, delays_an_automatic_transfer_by_one_cycle_at_most) {
    const auto expect_transfer = [&] {
        const auto fail_main = [&] {
            main_says->engineRunning = false;
            hear_both();
        };
        fail_main();
        run_short_of_memory([&] { protection->evaluate_cycle(now); },
                            [&](bool enough) {
                                expect_one_side();
                                EXPECT_TRUE(held() || !enough);
                                cycle_after(250ms);
                                expect_one_side();
                                ASSERT_TRUE(held());
                                EXPECT_TRUE(stands("critical Main: Engine stopped or exited."));
                                return_to_main();
                                fail_main();
                            });
        main_says = healthy_server();
    };
    expect_transfer();
    use_long_serials();
    expect_transfer();
}

// Protection whose disk takes a save without any memory, and serials that want none either: the
// messages, alerts and lines of a transfer are all that still want some.
TEST_F(exhausted_memory,
       moves_operation_between_short_serials_though_no_message_alert_or_line_can_be_made) {
    bool disk_holds_backup = false;
    bool disk_is_asked_for_a_line = false;
    protection.emplace(
        registry,
        protection_disk{.load = [](saved_protection&, std::string&) {},
                        .save =
                            [&](const saved_protection& saved) {
                                disk_holds_backup = saved.heldOnBackup;
                                return true;
                            },
                        .append = [&](std::string_view) { disk_is_asked_for_a_line = true; }});
    watch();
    main_says->engineRunning = false;
    hear_both();
    {
        const failing_memory memory(0);
        protection->evaluate_cycle(now);
        EXPECT_TRUE(memory.exhausted());
    }
    EXPECT_TRUE(held());
    EXPECT_TRUE(disk_holds_backup);
    EXPECT_EQ(registry.active_role(), "backup");
    EXPECT_TRUE(alerts().empty());
    EXPECT_FALSE(disk_is_asked_for_a_line);
    cycle_after(250ms);
    EXPECT_EQ(standing(), std::set<std::string>{"critical Main: Engine stopped or exited."});
}

TEST_F(exhausted_memory, takes_a_save_that_lacks_memory_for_a_failed_one) {
    run_short_of_memory([&] { protection->operate("disarm", now, error); },
                        [&](bool enough) {
                            EXPECT_EQ(saved().policy.armed, shown().policy.armed);
                            EXPECT_FALSE(enough && shown().policy.armed);
                            ASSERT_TRUE(operate("arm")) << error;
                        });
}

TEST_F(exhausted_memory, never_leaves_the_actions_busy) {
    run_short_of_memory(
        [&] {
            if (!protection->test_action(0, error)) return;
            const outbound_sequence sequence = protection->take_sequence();
            protection->record_step(sequence, sequence.steps[0], false, error, now);
            protection->finish_sequence(sequence, true);
            protection->note_monitor_failure("a message that is too long for a short string", now);
        },
        [&](bool) { EXPECT_FALSE(busy()); });
}

TEST_F(exhausted_memory, tells_the_exception_by_which_the_sending_of_a_step_ended) {
    outbound_action step = enabled_action("A", "backup");
    step.payload = std::string(100, 'x');
    const std::atomic<bool> running{true};
    for (const int pieces : {0, 1}) {
        SCOPED_TRACE(pieces);
        std::string failure;
        {
            const failing_memory memory(pieces);
            EXPECT_FALSE(send_step(step, running, failure));
        }
        EXPECT_EQ(failure, "std::bad_alloc");
    }
}

TEST_F(exhausted_memory, costs_a_line_of_the_log_and_no_more) {
    alert_log log(folder.file("lines.jsonl"));
    run_short_of_memory(
        [&] {
            log.fault(now.wall_ms, "a key that is too long to stand within its string", "message");
            log.action(now.wall_ms, "a text that is too long to stand within its string");
        },
        [](bool) {});
}
