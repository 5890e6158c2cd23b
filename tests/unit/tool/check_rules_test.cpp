#include "tool/check_rules.hpp"

#include "unit/tool/healthy_view.hpp"

#include <gtest/gtest.h>

#include <functional>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

using view_change = std::function<void(check_view&)>;

std::vector<std::string> sentences(const findings& found) {
    std::vector<std::string> texts;
    for (const finding& each : found) {
        EXPECT_FALSE(each.id.empty());
        EXPECT_FALSE(each.advice.empty()) << each.sentence;
        texts.push_back(each.sentence);
    }
    return texts;
}

std::vector<std::string> found_after(const view_change& change) {
    check_view view = healthy_view();
    change(view);
    return sentences(check_before_show(view));
}

std::vector<std::string> found_while_stopped(const view_change& change) {
    check_view view = stopped_view();
    change(view);
    std::vector<std::string> found = sentences(check_before_show(view));
    EXPECT_EQ(found.at(0), "The program is not running.");
    found.erase(found.begin());
    return found;
}

protection_policy& policy_of(check_view& view) {
    return view.program.status->protection.policy;
}

outbound_action command(const std::string& event) {
    return {.name = "Router",
            .event = event,
            .host = "router",
            .port = 1,
            .payload = "x",
            .enabled = true};
}

using lines = std::vector<std::string>;

} // namespace

TEST(check, finds_nothing_with_a_healthy_pair) {
    EXPECT_EQ(found_after([](auto&) {}), lines{});
    EXPECT_EQ(found_while_stopped([](auto&) {}), lines{});
}

TEST(check, says_who_is_at_the_programs_port) {
    const auto presence = [](program_presence which) {
        check_view view = stopped_view();
        view.program.presence = which;
        return sentences(check_program(view));
    };
    EXPECT_EQ(presence(program_presence::not_running), lines{"The program is not running."});
    EXPECT_EQ(presence(program_presence::not_answering),
              lines{"Something holds port 5251 and gives no answer."});
    EXPECT_EQ(presence(program_presence::unreadable_status),
              lines{"The program is running, and its status can't be read."});
    EXPECT_EQ(presence(program_presence::another_program),
              lines{"Another program answers on port 5251."});
}

TEST(check, looks_at_the_files_of_the_running_program_alone) {
    EXPECT_EQ(found_after([](auto& view) {
                  view.program_uses_it = false;
                  view.program.status->config_path = "other.json";
                  view.files.configuration = file_condition::missing;
                  view.files.state = file_condition::damaged;
              }),
              lines{"The running program uses another configuration file: other.json."});
}

TEST(check, finds_files_that_cannot_be_read) {
    const auto bad_files = [](file_condition configuration, file_condition state) {
        check_view view = healthy_view();
        view.files.configuration = configuration;
        view.files.state = state;
        return sentences(check_before_show(view));
    };
    const file_condition whole = file_condition::whole;
    EXPECT_EQ(bad_files(file_condition::missing, whole),
              lines{"There is no configuration file at operator-control.json."});
    EXPECT_EQ(bad_files(file_condition::damaged, whole),
              lines{"The configuration file is damaged."});
    EXPECT_EQ(bad_files(file_condition::unreadable, whole),
              lines{"The configuration file can't be read."});
    EXPECT_EQ(bad_files(file_condition::too_large, whole),
              lines{"The configuration file is too large: the program writes no such file."});
    EXPECT_EQ(bad_files(whole, file_condition::missing), lines{}) << "nothing was ever changed";
    EXPECT_EQ(bad_files(whole, file_condition::damaged), lines{"The protection file is damaged."});
    EXPECT_EQ(bad_files(whole, file_condition::unreadable),
              lines{"The protection file can't be read."});
    EXPECT_EQ(found_after([](auto& view) { view.files.invalid_policy = "Too short."; }),
              lines{"The saved protection settings are not valid: Too short."});
}

TEST(check, wants_a_pair_that_is_enabled_armed_and_not_held) {
    EXPECT_EQ(found_after([](auto& view) { view.program.status->registry.systems.pop_back(); }),
              lines{"Main and Backup are not chosen."});
    EXPECT_EQ(found_after([](auto& view) { view.program.status->registry.enabled = false; }),
              lines{"The pair is disabled: nothing moves."});
    EXPECT_EQ(found_after([](auto& view) { policy_of(view).armed = false; }),
              lines{"Automatic failover is disarmed."});
    EXPECT_EQ(
        found_after([](auto& view) { view.program.status->protection.held_on_backup = true; }),
        lines{"Operation is held on Backup: nothing moves by itself."});
}

TEST(check, reads_the_same_from_the_files_of_a_stopped_program) {
    EXPECT_EQ(found_while_stopped([](auto& view) { view.files.registry.systems.clear(); }),
              lines{"Main and Backup are not chosen."});
    EXPECT_EQ(found_while_stopped([](auto& view) { view.files.registry.enabled = false; }),
              lines{"The pair is disabled: nothing moves."});
    EXPECT_EQ(found_while_stopped([](auto& view) { view.files.protection.policy.armed = false; }),
              lines{"Automatic failover is disarmed."});
    EXPECT_EQ(found_while_stopped([](auto& view) { view.files.protection.heldOnBackup = true; }),
              lines{"Operation is held on Backup: nothing moves by itself."});
    EXPECT_EQ(
        found_while_stopped([](auto& view) { view.files.registry.policySynchronized = false; }),
        lines{})
        << "the file doesn't hold it";
}

TEST(check, wants_the_pairing_in_mains_event) {
    const view_change pending = [](check_view& view) {
        view.program.status->registry.policySynchronized = false;
        view.program.status->registry.policySyncMessage = "Waiting.";
    };
    EXPECT_EQ(found_after(pending), lines{"The pairing is not in Main's event: Waiting."});
    EXPECT_EQ(found_after([&](auto& view) {
                  pending(view);
                  view.program.status->registry.controllerConfigured = false;
              }),
              lines{})
        << "this workstation has none to write";
}

TEST(check, warns_of_times_that_are_legal_and_unwise) {
    const auto with_times = [](std::uint32_t loss, std::uint32_t startup) {
        return found_after([&](auto& view) {
            policy_of(view).lossMs = loss;
            policy_of(view).startupMs = startup;
        });
    };
    EXPECT_EQ(with_times(600, 15'000), lines{});
    EXPECT_EQ(with_times(599, 15'000),
              lines{"The response timeout of 599 ms is short: a single lost poll can move "
                    "operation."});
    EXPECT_EQ(with_times(600, 15'001),
              lines{"After a start of the program nothing moves by itself for 15 s."});
}

TEST(check, wants_the_address_of_every_enabled_command) {
    const view_change unknown = [](check_view& view) {
        policy_of(view).actions = {command("backup")};
        view.hosts.unknown = {"router"};
    };
    EXPECT_EQ(found_after(unknown),
              lines{"The address of the command \"Router\" can't be found: router."});
    EXPECT_EQ(found_after([&](auto& view) {
                  unknown(view);
                  policy_of(view).actions[0].enabled = false;
              }),
              lines{});
    EXPECT_EQ(found_after([&](auto& view) {
                  unknown(view);
                  view.hosts.unknown = {"other"};
              }),
              lines{});
}

TEST(check, warns_of_commands_that_can_block_for_long) {
    const auto with_timeout = [](std::uint32_t timeout_ms) {
        return found_after([&](auto& view) {
            outbound_action slow = command("main");
            slow.delayMs = 4000;
            slow.timeoutMs = timeout_ms;
            slow.retries = 1;
            policy_of(view).actions = {slow, command("backup")};
        });
    };
    EXPECT_EQ(with_timeout(3000), lines{});
    EXPECT_EQ(with_timeout(3001),
              lines{"The commands of Return to Main can take 10 s; until then nothing else can "
                    "move."});
}

TEST(longest_sequence, adds_delay_and_every_try_of_the_enabled_commands_of_one_event) {
    outbound_action first = command("backup");
    first.delayMs = 500;
    first.timeoutMs = 3000;
    first.retries = 3;
    outbound_action disabled = first;
    disabled.enabled = false;
    protection_policy policy;
    policy.actions = {first, command("backup"), command("main"), disabled};
    EXPECT_EQ(longest_sequence(policy, "backup"), 13'500ms);
    EXPECT_EQ(longest_sequence(policy, "main"), 1000ms);
    EXPECT_EQ(longest_sequence({}, "main"), 0ms);
}

TEST(check, does_not_call_a_host_unknown_before_the_name_server_says_so) {
    EXPECT_EQ(found_after([](auto& view) {
                  view.hosts.untold = {"router"};
                  policy_of(view).actions = {command("backup")};
              }),
              lines{"The name server does not say where the command \"Router\" goes: router."});
}

TEST(check, misses_one_of_two_decks_with_the_same_serial) {
    EXPECT_EQ(found_after([](auto& view) {
                  view.remembered_decks = {{"XL-1", "Stream Deck XL"}, {"XL-1", "Stream Deck +"}};
              }),
              lines{"Stream Deck + (XL-1) is missing; it was there at the last good check."});
}

TEST(check, misses_a_deck_of_the_last_good_check) {
    EXPECT_EQ(found_after([](auto& view) { view.program.status->decks.clear(); }),
              lines{"Stream Deck XL (XL-1) is missing; it was there at the last good check."});
    EXPECT_EQ(found_after([](auto& view) { view.program.status->decks[0].serial = "XL-2"; }),
              lines{})
        << "one was replaced";
    EXPECT_EQ(found_after([](auto& view) {
                  view.program.status->decks.clear();
                  view.remembered_decks.clear();
              }),
              lines{})
        << "a workstation without decks";
}

TEST(check, wants_room_for_a_month_of_logs) {
    EXPECT_EQ(found_after([](auto& view) { view.free_bytes = 150'000'000; }), lines{});
    EXPECT_EQ(found_after([](auto& view) { view.free_bytes = 149'999'999; }),
              lines{"The disk of the settings has 149 MB left; a month of logs takes 150 MB."});
    EXPECT_EQ(found_after([](auto& view) { view.free_bytes.reset(); }), lines{});
}

TEST(check, repeats_every_active_alert_that_nothing_else_explains) {
    const auto with_alert = [](const alert_record& alert) {
        return found_after([&](auto& view) { view.program.status->protection.alerts = {alert}; });
    };
    const lines found = with_alert(active_alert("Main: Sustained resource pressure"));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0].ends_with(": Main: Sustained resource pressure")) << found[0];
    EXPECT_EQ(with_alert(active_alert("moved", alert_severity::notice)), lines{});
    alert_record over = active_alert("Main: Engine stopped or exited.");
    over.active = false;
    EXPECT_EQ(with_alert(over), lines{});
}
