#include "running_pair.hpp"

#include "integration/support/choked_listener.hpp"
#include "integration/support/datagram_receiver.hpp"
#include "integration/support/failing_memory.hpp"
#include "os/file_paths.hpp"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

// Lets two pass together. Who waits in vain for 250 ms goes away alone.
class meeting_point {
public:
    bool meet() {
        std::unique_lock lock(lock_);
        const int round = round_;
        if (++waiting_ == 2) {
            waiting_ = 0;
            ++round_;
            met_.notify_all();
            return true;
        }
        if (met_.wait_for(lock, 250ms, [&] { return round_ != round; })) return true;
        --waiting_;
        return false;
    }

private:
    std::mutex lock_; // guards all below
    std::condition_variable met_;
    int waiting_ = 0;
    int round_ = 0;
};

// A device that notes what each connection brought, in the order of connecting.
class device {
public:
    device()
        : peer_([this](peer_connection& connection) {
              const std::string text = connection.read_to_end();
              const std::lock_guard lock(lock_);
              got_[connection.index()] = text;
          }) {}

    std::uint16_t port() const { return peer_.port(); }
    std::vector<std::string> got() const {
        const std::lock_guard lock(lock_);
        std::vector<std::string> texts;
        for (const auto& [index, text] : got_)
            texts.push_back(text);
        return texts;
    }

private:
    mutable std::mutex lock_; // guards `got_`
    std::map<std::size_t, std::string> got_;
    scripted_peer peer_;
};

outbound_action action_to(std::uint16_t port, const std::string& name) {
    outbound_action action;
    action.name = name;
    action.host = "127.0.0.1";
    action.port = port;
    action.payload = name;
    action.enabled = true;
    return action;
}

using running_protection = running_pair;

} // namespace

TEST_F(running_protection, can_be_stopped_unstarted_and_more_than_once) {
    service->stop();
    service->stop();
    EXPECT_EQ(main_server.connections(), 0U);
    service->start();
    service->stop();
    service->stop();
    service.reset();
}

TEST_F(running_protection, gives_a_known_pair_its_grace_at_each_start) {
    use_actions({}); // and a long grace
    start_and_hear_both();
    service->stop();
    const scripted_peer stopped_main([](peer_connection& connection) {
        connection.read_request();
        connection.send(
            http_reply_text(200, R"({"serial":"M1","version":1,"engineRunning":false})"));
    });
    know({{"127.0.0.1", stopped_main.port(), "", "M1"},
          {"127.0.0.1", backup_server.port(), "", "B1"}});
    service.emplace(registry);
    service->start();
    ASSERT_TRUE(comes_true([&] { return stopped_main.connections() >= 4; }))
        << "some cycles have judged by then";
    EXPECT_EQ(alert_count(), 0U);
    EXPECT_EQ(registry.active_role(), "main");
    service->stop();
}

TEST_F(running_protection, tells_of_a_cycle_that_failed_and_goes_on) {
    // Without memory for this name there is no pair to judge.
    know({{"127.0.0.1", main_server.port(), std::string(4000, 'x'), "M1"},
          {"127.0.0.1", backup_server.port(), "Stage right", "B1"}});
    use_actions({});
    start_and_hear_both();
    const auto failure_is_active = [&] {
        const auto alerts = shown().alerts;
        return std::ranges::any_of(alerts, [](const alert_record& alert) {
            return alert.active && alert.message.find("bad_alloc") != std::string::npos;
        });
    };
    {
        const no_large_memory memory(2000);
        EXPECT_TRUE(comes_true(failure_is_active));
    }
    EXPECT_TRUE(comes_true([&] { return !failure_is_active(); }));
    service->stop();
}

TEST_F(running_protection, saves_nothing_when_it_stops) {
    start_and_hear_both();
    ASSERT_TRUE(comes_true(
        [&] { return path_exists(registry.configuration_path() + ".protection.json"); }));
    std::filesystem::remove(registry.configuration_path() + ".protection.json");
    service->stop();
    EXPECT_FALSE(path_exists(registry.configuration_path() + ".protection.json"));
}

TEST_F(running_protection, asks_both_servers_at_the_same_time) {
    meeting_point point;
    const auto together = [&](const std::string& serial) {
        return [&point, serial](peer_connection& connection) {
            connection.read_request();
            if (point.meet()) connection.send(healthy_reply(serial));
        };
    };
    const scripted_peer main(together("M1"));
    const scripted_peer backup(together("B1"));
    know({{"127.0.0.1", main.port(), "", "M1"}, {"127.0.0.1", backup.port(), "", "B1"}});
    start_and_hear_both();
    service->stop();
}

TEST_F(running_protection, polls_what_exists_without_a_pair_and_no_server_without_an_address) {
    registry.set_role("B1", system_role::independent, "");
    service->start();
    ASSERT_TRUE(comes_true([&] { return age_of("M1") >= 0; }));
    EXPECT_EQ(backup_server.connections(), 0U);
    EXPECT_EQ(alert_count(), 0U);
    EXPECT_EQ(age_of("B1"), -2) << "no entry";

    know({{"", 0, "", "B9"}});
    registry.set_role("B9", system_role::backup, "M1");
    ASSERT_TRUE(comes_true([&] { return age_of("B9") == -1; })) << "evaluated, never heard";
}

TEST_F(running_protection, keeps_its_period_however_often_it_is_woken) {
    start_and_hear_both();
    const std::size_t connections_before = main_server.connections();
    const steady_time before = steady_now();
    while (steady_now() - before < 700ms)
        ASSERT_TRUE(service->operate("acknowledge", error));
    const std::size_t connections = main_server.connections() - connections_before;
    const auto cycles = milliseconds_between(before, steady_now()) / 250 + 2;
    EXPECT_LE(connections, static_cast<std::size_t>(cycles));
    EXPECT_TRUE(comes_true([&] { return main_server.connections() > connections_before + 4; }));
}

TEST_F(running_protection, moves_to_backup_by_itself_and_tells_the_outside_device) {
    datagram_receiver outside;
    ASSERT_TRUE(outside.bound());
    protection_policy policy;
    policy.startupMs = 1000;
    policy.lossMs = 1500;
    policy.actions = {action_to(outside.port(), "GO")};
    policy.actions[0].transport = transport::udp;
    policy.actions[0].payload = R"(\x41\x42)";
    ASSERT_TRUE(service->replace_policy(write_policy(policy), error)) << error;
    start_and_hear_both();
    main_answers = false;
    ASSERT_TRUE(comes_true([&] { return registry.active_role() == "backup"; }));
    EXPECT_EQ(outside.next(), "AB");
    ASSERT_TRUE(comes_true([&] { return !busy(); }));
    EXPECT_EQ(last_action(), "Transfer to Backup: sequence sent; device execution unconfirmed.");
    EXPECT_TRUE(shown().held_on_backup);
    main_answers = true;
    ASSERT_TRUE(comes_true([&] { return service->operate("main", error); })) << error;
    // Readiness looks at the poll, the registry at the evaluation that follows it.
    EXPECT_TRUE(comes_true([&] { return registry.active_role() == "main"; }));
}

TEST_F(running_protection, sends_the_steps_of_a_transfer_in_order) {
    device outside;
    use_actions({action_to(outside.port(), "A"), action_to(outside.port(), "B"),
                 action_to(outside.port(), "C")});
    start_and_hear_both();
    ASSERT_TRUE(service->operate("backup", error)) << error;
    ASSERT_TRUE(comes_true([&] { return outside.got().size() == 3 && !busy(); }));
    EXPECT_EQ(outside.got(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(last_action(), "Transfer to Backup: sequence sent; device execution unconfirmed.");
    const std::string lines = log();
    const auto at_a = lines.find("Transfer to Backup / A: sent; device execution unconfirmed.");
    const auto at_c = lines.find("Transfer to Backup / C: sent; device execution unconfirmed.");
    EXPECT_NE(at_a, std::string::npos);
    EXPECT_NE(at_c, std::string::npos);
    EXPECT_LT(at_a, at_c);
}

TEST_F(running_protection, ends_a_sequence_at_the_step_that_fails) {
    device outside;
    use_actions({action_to(outside.port(), "A"), action_to(closed_port(), "B"),
                 action_to(outside.port(), "C")});
    start_and_hear_both();
    ASSERT_TRUE(service->operate("backup", error)) << error;
    ASSERT_TRUE(comes_true([&] { return !busy(); }));
    const std::string result = "Transfer to Backup / B: Connect/send failed or timed out; device "
                               "execution is unconfirmed.";
    EXPECT_EQ(last_action(), result);
    EXPECT_TRUE(comes_true([&] { return outside.got() == std::vector<std::string>{"A"}; }));
    EXPECT_NE(log().find(R"("event":"fault","key":"action:B:backup","message":")" + result),
              std::string::npos);
    EXPECT_EQ(log().find("/ C:"), std::string::npos);
    EXPECT_EQ(registry.active_role(), "backup") << "the transfer stands whatever its steps do";
}

TEST_F(running_protection, makes_one_attempt_and_as_many_more_as_are_wanted_without_a_pause) {
    const choked_listener outside;
    service->start();
    for (const std::uint32_t retries : {0U, 3U}) {
        SCOPED_TRACE(retries);
        outbound_action action = action_to(outside.port(), "A");
        action.timeoutMs = 400;
        action.retries = retries;
        use_actions({action});
        EXPECT_TRUE(in_time([&] {
            const steady_time before = steady_now();
            EXPECT_TRUE(service->test_action(0, error)) << error;
            EXPECT_TRUE(comes_true([&] { return !busy(); }));
            // Each takes the whole of its time here, less a part of a millisecond.
            const auto attempts = (milliseconds_between(before, steady_now()) + 100) / 400;
            EXPECT_GE(attempts, retries + 1);
            return attempts == retries + 1;
        }));
        EXPECT_EQ(last_action(), "Test action / A: Connect/send failed or timed out; device "
                                 "execution is unconfirmed.");
    }
}

TEST_F(running_protection, leaves_one_result_and_no_alert_of_a_step_that_a_retry_delivers) {
    choked_listener outside;
    outbound_action action = action_to(outside.port(), "A");
    action.timeoutMs = 400;
    action.retries = 3;
    use_actions({action});
    service->start();
    const steady_time before = steady_now();
    ASSERT_TRUE(service->test_action(0, error)) << error;
    // The first attempt is well under way, and its lost request isn't repeated within its time.
    std::this_thread::sleep_for(200ms);
    outside.open_up();
    ASSERT_TRUE(comes_true([&] { return !busy(); }));
    EXPECT_GE(steady_now() - before, 390ms);
    EXPECT_EQ(last_action(), "Test action: sequence sent; device execution unconfirmed.");
    EXPECT_EQ(alert_count(), 0U);
    const std::string lines = log();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
}

TEST_F(running_protection, counts_a_datagram_as_sent_whether_anyone_listens_or_not) {
    std::uint16_t silent_port = 0;
    {
        const datagram_receiver closed_at_once;
        silent_port = closed_at_once.port();
    }
    outbound_action action = action_to(silent_port, "A");
    action.transport = transport::udp;
    use_actions({action});
    service->start();
    ASSERT_TRUE(service->test_action(0, error)) << error;
    ASSERT_TRUE(comes_true([&] { return !busy(); }));
    EXPECT_EQ(last_action(), "Test action: sequence sent; device execution unconfirmed.");
    EXPECT_EQ(alert_count(), 0U);
}

TEST_F(running_protection, waits_out_a_delay_however_often_it_is_woken) {
    device outside;
    outbound_action action = action_to(outside.port(), "A");
    action.delayMs = 2000;
    use_actions({action});
    service->start();
    const steady_time before = steady_now();
    ASSERT_TRUE(service->test_action(0, error)) << error;
    EXPECT_FALSE(service->test_action(0, error));
    EXPECT_EQ(error, "An outbound sequence is already running.");
    EXPECT_FALSE(service->operate("backup", error));
    EXPECT_EQ(error, "Wait for the outbound sequence to finish before transferring again.");
    use_actions({});
    while (busy())
        ASSERT_TRUE(service->operate("acknowledge", error));
    EXPECT_GE(steady_now() - before, 2000ms);
    EXPECT_TRUE(comes_true([&] { return outside.got() == std::vector<std::string>{"A"}; }))
        << "a policy saved meanwhile changes nothing";
}

TEST_F(running_protection, abandons_a_delay_at_once_when_it_is_stopped) {
    device outside;
    outbound_action delayed = action_to(outside.port(), "B");
    delayed.delayMs = 10000;
    delayed.event = "backup";
    use_actions({action_to(outside.port(), "A"), delayed});
    start_and_hear_both();
    ASSERT_TRUE(service->operate("backup", error)) << error;
    ASSERT_TRUE(comes_true([&] { return !last_action().empty(); }));
    const steady_time before = steady_now();
    service->stop();
    EXPECT_LT(steady_now() - before, 8s);
    EXPECT_FALSE(busy());
    EXPECT_EQ(last_action(), "Transfer to Backup / A: sent; device execution unconfirmed.");
    EXPECT_TRUE(comes_true([&] { return outside.got() == std::vector<std::string>{"A"}; }));
}

TEST_F(running_protection, makes_no_further_attempt_once_it_is_stopped) {
    const choked_listener outside;
    outbound_action action = action_to(outside.port(), "A");
    action.timeoutMs = 2000;
    action.retries = 3;
    use_actions({action});
    service->start();
    const steady_time before = steady_now();
    ASSERT_TRUE(service->test_action(0, error)) << error;
    // The first attempt is well under way.
    std::this_thread::sleep_for(200ms);
    service->stop();
    const auto stopped_after = steady_now() - before;
    EXPECT_GE(stopped_after, 1990ms) << "an attempt runs to its own time limit";
    EXPECT_LT(stopped_after, 6s) << "four attempts would take eight";
    EXPECT_FALSE(busy());
    EXPECT_EQ(last_action(), "Test action / A: Connect/send failed or timed out; device execution "
                             "is unconfirmed.");
}

TEST_F(running_protection, takes_a_posted_policy_only_if_it_is_valid_and_can_be_saved) {
    const auto policy_text = [&] { return write_policy(shown().policy); };
    const std::string before = policy_text();
    EXPECT_FALSE(service->replace_policy(R"({"lossMs":499})", error));
    EXPECT_EQ(error, "Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.");
    EXPECT_EQ(policy_text(), before);
    EXPECT_FALSE(path_exists(registry.configuration_path() + ".protection.json"));

    const std::string in_the_way = registry.configuration_path() + ".protection.json.tmp";
    std::filesystem::create_directory(in_the_way);
    EXPECT_FALSE(service->replace_policy(R"({"lossMs":700})", error));
    EXPECT_EQ(error, "Protection settings could not be saved.");
    EXPECT_EQ(policy_text(), before);
    std::filesystem::remove(in_the_way);

    ASSERT_TRUE(service->replace_policy(R"({"lossMs":700,"heldOnBackup":true})", error));
    EXPECT_EQ(shown().policy.lossMs, 700U);
    EXPECT_FALSE(shown().held_on_backup) << "no key of a policy";
}

TEST_F(running_protection, passes_refusals_of_the_operator_on) {
    EXPECT_FALSE(service->operate("", error));
    EXPECT_EQ(error, "Unknown protection operation.");
    EXPECT_FALSE(service->test_action(-1, error));
    EXPECT_EQ(error, "Save the action before testing it.");
    EXPECT_TRUE(service->operate("disarm", error));
    EXPECT_FALSE(shown().policy.armed);
}

TEST_F(running_protection, starts_all_its_threads_or_none) {
    int refused = 0;
    for (bool started = false; !started;) {
        ASSERT_LT(refused, 1000);
        const failing_memory memory(refused);
        try {
            service->start();
            started = true;
        } catch (const std::bad_alloc&) {
            ++refused;
        }
    }
    EXPECT_GE(refused, 4) << "two pollers, the worker and the monitor";
    EXPECT_TRUE(comes_true([&] { return age_of("M1") >= 0 && age_of("B1") >= 0; }));
}
