#include "tool/doctor_rules.hpp"

#include "unit/tool/healthy_workstation.hpp"

#include <gtest/gtest.h>

#include <functional>

using namespace elvantris::operator_control;

namespace {

using lines = std::vector<std::string>;
using view_change = std::function<void(doctor_view&)>;

lines sentences(const findings& found) {
    lines texts;
    for (const finding& each : found) {
        EXPECT_FALSE(each.id.empty());
        EXPECT_FALSE(each.advice.empty()) << each.sentence;
        texts.push_back(each.sentence);
    }
    return texts;
}

lines found_after(const view_change& change) {
    doctor_view view = healthy_workstation();
    change(view);
    return sentences(examine_workstation(view));
}

lines found_while_stopped(const view_change& change) {
    doctor_view view = stopped_workstation();
    change(view);
    return sentences(examine_workstation(view));
}

lines noted_after(const view_change& change) {
    doctor_view view = healthy_workstation();
    change(view);
    return sentences(notes_on_workstation(view));
}

deck_use& deck_of(doctor_view& view) {
    return view.decks->front();
}

answering_server& main_of(doctor_view& view) {
    return view.network.servers->front();
}

} // namespace

TEST(doctor, finds_nothing_on_a_healthy_workstation) {
    EXPECT_EQ(found_after([](auto&) {}), lines{});
    EXPECT_EQ(noted_after([](auto&) {}), lines{});
}

TEST(doctor, finds_nothing_while_the_program_is_stopped_and_notes_that) {
    EXPECT_EQ(found_while_stopped([](auto&) {}), lines{});
    EXPECT_EQ(sentences(notes_on_workstation(stopped_workstation())),
              lines{"The program is not running."});
}

TEST(doctor, names_who_took_the_programs_port) {
    for (const program_presence presence :
         {program_presence::not_running, program_presence::another_program})
        EXPECT_EQ(found_while_stopped([&](doctor_view& view) {
                      view.program.presence = presence;
                      view.api_port.programs = {{stranger()}};
                  }),
                  lines{"Port 5251 is taken by stranger (process 9)."});
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.program.presence = program_presence::not_answering;
                  view.api_port.programs = {{stranger()}};
              }),
              lines{"stranger (process 9) holds port 5251 and gives no answer."});
    EXPECT_EQ(found_while_stopped(
                  [](doctor_view& view) { view.api_port.programs = {{running_program{}}}; }),
              lines{"Port 5251 is taken by a program that the system does not name."});
}

TEST(doctor, calls_the_program_itself_no_stranger_on_its_port) {
    for (const auto presence : {program_presence::not_running, program_presence::another_program})
        EXPECT_EQ(found_while_stopped([&](doctor_view& view) {
                      view.program.presence = presence;
                      view.api_port.programs = {{own_process()}};
                  }),
                  lines{"elvantris-redundancy-control (process 7) holds port 5251 and gave no "
                        "status."});
    EXPECT_EQ(found_after([](doctor_view& view) {
                  view.page_port.programs = {{stranger(), own_process()}};
              }),
              lines{});
}

TEST(doctor, finds_a_taken_port_also_where_the_system_keeps_the_name) {
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.program.presence = program_presence::another_program;
                  view.api_port.programs.reset();
              }),
              lines{"Another program answers on port 5251."});
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.program.presence = program_presence::not_answering;
                  view.api_port.programs.reset();
              }),
              lines{"Something holds port 5251 and gives no answer."});
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.program.presence = program_presence::unreadable_status;
              }),
              lines{"The program is running, and its status can't be read."});
}

TEST(doctor, names_who_took_the_pages_port) {
    const view_change taken = [](doctor_view& view) { view.page_port.programs = {{stranger()}}; };
    const lines expected{"Port 5270 of the page is taken by stranger (process 9)."};
    EXPECT_EQ(found_after(taken), expected);
    EXPECT_EQ(found_while_stopped(taken), expected);
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.page_port.programs = {{own_process()}}; // it starts just now
              }),
              lines{});
}

TEST(doctor, finds_a_page_that_is_not_where_it_should_be) {
    EXPECT_EQ(found_after([](doctor_view& view) { view.registry.uiPort = 6000; }),
              lines{"The page is at port 5270, not yet at port 6000."});
}

TEST(doctor, finds_a_port_that_windows_keeps_for_itself) {
    const auto reserve = [](std::uint16_t first, std::uint16_t last) {
        return [=](doctor_view& view) { view.reserved = {{first, last}}; };
    };
    const lines expected{
        "Port 5251 is in a range that Windows keeps for itself: no program can use it."};
    EXPECT_EQ(found_while_stopped(reserve(5251, 5251)), expected);
    EXPECT_EQ(found_while_stopped(reserve(5252, 5269)), lines{});
    EXPECT_EQ(found_while_stopped(reserve(5251, 5270)).size(), 2U);
    // The program has it already.
    EXPECT_EQ(found_after(reserve(5251, 5270)), lines{});
}

TEST(doctor, finds_a_computer_without_a_network) {
    EXPECT_EQ(found_after([](doctor_view& view) { view.network.interfaces->at(1).up = false; }),
              lines{"This computer has no network."});
}

TEST(doctor, finds_two_cards_in_the_same_network) {
    const auto second_card = [](std::uint32_t address, std::string name) {
        return [=](doctor_view& view) {
            view.network.interfaces->push_back(
                {.up = true, .address = address, .prefix_length = 24, .name = name});
        };
    };
    EXPECT_EQ(found_after(second_card(0x0A4D0032, "wifi")),
              lines{"lan (10.77.0.10) and wifi (10.77.0.50) are in the same network; this computer "
                    "sends through one of them alone."});
    EXPECT_EQ(found_after(second_card(0x0A4D0032, "lan")), lines{});
    EXPECT_EQ(found_after(second_card(other_address, "wifi")), lines{});
}

TEST(doctor, finds_servers_that_do_not_answer) {
    const view_change silent = [](doctor_view& view) { view.network.servers->clear(); };
    EXPECT_EQ(found_while_stopped(silent), lines{"No server answers on any network."});
    EXPECT_EQ(found_while_stopped([](doctor_view& view) { view.network.servers->pop_back(); }),
              lines{"Backup (SER-B) does not answer on any network; it was at 10.77.0.12."});
}

TEST(doctor, believes_the_program_that_sees_a_server) {
    const auto seen = [](bool online, std::size_t answers) {
        return [=](doctor_view& view) {
            for (system_record& system : view.registry.systems)
                system.online = online;
            view.network.servers->resize(answers);
        };
    };
    EXPECT_EQ(found_after(seen(true, 0)), lines{});
    EXPECT_EQ(noted_after(seen(true, 0)),
              lines{"No server answers this tool, and the program sees some."});
    EXPECT_EQ(found_after(seen(true, 1)), lines{});
    EXPECT_EQ(found_after(seen(false, 0)).size(), 1U);
    EXPECT_EQ(found_after(seen(false, 1)).size(), 1U);
}

TEST(doctor, finds_a_server_to_which_the_route_goes_elsewhere) {
    const auto reached_from = [](std::optional<std::uint32_t> address) {
        return [=](doctor_view& view) {
            view.network.interfaces->push_back(
                {.up = true, .address = other_address, .prefix_length = 24, .name = "vpn"});
            view.network.interfaces->push_back(
                {.up = true, .address = 0x0A590001, .prefix_length = 24, .name = "lan"});
            main_of(view).reached_from = address;
        };
    };
    const std::string begin = "Main (SER-A) answers on lan (10.77.0.10), and ";
    EXPECT_EQ(found_after(reached_from(other_address)),
              lines{begin + "what this computer sends to it goes through vpn (10.88.0.10)."});
    EXPECT_EQ(found_after(reached_from(std::nullopt)),
              lines{begin + "this computer has no way to send to it."});
    // The second address of the same card.
    EXPECT_EQ(found_after(reached_from(0x0A590001)), lines{});
}

TEST(doctor, finds_a_server_in_a_foreign_network) {
    EXPECT_EQ(found_after([](doctor_view& view) {
                  main_of(view).address = 0x0A010105;
                  main_of(view).server.address = "10.1.1.5";
              }),
              lines{"Main (SER-A) answers from 10.1.1.5, which is in none of this computer's "
                    "networks; what this computer sends to it goes through lan (10.77.0.10)."});
}

TEST(doctor, calls_servers_by_their_part_or_their_name) {
    const registry_state registry = healthy_workstation().registry;
    EXPECT_EQ(told_server(registry, {.address = "1.2.3.4", .workstation = "W", .serial = "SER-B"}),
              "Backup (SER-B)");
    EXPECT_EQ(told_server(registry, {.address = "1.2.3.4", .workstation = "W", .serial = "SER-C"}),
              "W (SER-C)");
    EXPECT_EQ(told_server(registry, {.address = "1.2.3.4", .workstation = "", .serial = ""}),
              "1.2.3.4");
}

TEST(doctor, finds_a_deck_that_this_user_may_not_open) {
    EXPECT_EQ(found_after([](doctor_view& view) { deck_of(view).access = device_access::refused; }),
              lines{"This user may not open Stream Deck XL (XL-1), /dev/hidraw0."});
}

TEST(doctor, finds_a_deck_that_another_program_holds) {
    EXPECT_EQ(found_after([](doctor_view& view) {
                  deck_of(view).holders = {{own_process(), stranger()}};
              }),
              lines{"Stream Deck XL (XL-1) is held by stranger (process 9)."});
    EXPECT_EQ(found_after([](doctor_view& view) {
                  deck_of(view).holders.reset();
                  deck_of(view).access = device_access::held;
              }),
              lines{"Stream Deck XL (XL-1) is held by a program that lets no other in."});
}

TEST(doctor, finds_a_deck_of_an_unknown_kind) {
    EXPECT_EQ(found_after([](doctor_view& view) {
                  deck_of(view).deck.product_id = 0x00FF;
                  deck_of(view).deck.model = nullptr;
              }),
              lines{"Stream Deck XL (XL-1) is of a kind that the program doesn't know: 00ff."});
}

TEST(doctor, finds_a_deck_that_the_program_does_not_use) {
    const view_change lost = [](doctor_view& view) {
        if (view.program.status) view.program.status->decks.clear();
    };
    EXPECT_EQ(found_after(lost),
              lines{"Stream Deck XL (XL-1) is on the bus, and the program does not use it."});
    EXPECT_EQ(found_while_stopped(lost), lines{});
    // One without a serial has another name in the program, and one that left meanwhile none.
    EXPECT_EQ(found_after([&](doctor_view& view) {
                  lost(view);
                  deck_of(view).deck.serial.clear();
              }),
              lines{});
    EXPECT_EQ(found_after([&](doctor_view& view) {
                  lost(view);
                  deck_of(view).access = device_access::gone;
              }),
              lines{});
}

TEST(doctor, finds_a_clock_that_can_not_be_right) {
    const auto now_is = [](std::int64_t now) { return [=](doctor_view& view) { view.now = now; }; };
    EXPECT_EQ(found_after(now_is(1'000'000'000'000)).size(), 1U);
    EXPECT_EQ(found_after(now_is(5'000'000'000'000)).size(), 1U);
    const std::int64_t newest = *healthy_workstation().alert_log.newest;
    EXPECT_EQ(found_after(now_is(newest - 60'000)), lines{});
    const lines found = found_after(now_is(newest - 60'001));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0].ends_with(", which is later than now.")) << found[0];
}

TEST(doctor, finds_another_configuration_file) {
    EXPECT_EQ(found_after([](doctor_view& view) { view.program_uses_it = false; }),
              lines{"The running program uses another configuration file: operator-control.json."});
}

TEST(doctor, finds_a_folder_that_takes_no_file) {
    EXPECT_EQ(found_after([](doctor_view& view) { view.folder = folder_access::refused; }),
              lines{"Nothing can be written in the folder of the settings: /home/op."});
    EXPECT_EQ(found_after([](doctor_view& view) { view.folder = folder_access::missing; }),
              lines{"The folder of the settings is not there: /home/op."});
}

TEST(doctor, finds_settings_files_that_cannot_be_read) {
    for (const auto& found_with : {found_after, found_while_stopped}) {
        EXPECT_EQ(found_with([](doctor_view& view) {
                      view.files.configuration = file_condition::damaged;
                  }),
                  lines{"The configuration file is damaged."});
        EXPECT_EQ(found_with([](doctor_view& view) {
                      view.files.configuration = file_condition::missing;
                  }),
                  lines{"There is no configuration file at /home/op/operator-control.json."});
        EXPECT_EQ(
            found_with([](doctor_view& view) { view.files.state = file_condition::unreadable; }),
            lines{"The protection file can't be read."});
    }
    EXPECT_EQ(found_while_stopped([](doctor_view& view) {
                  view.folder = folder_access::missing;
                  view.files.configuration = file_condition::missing;
              }),
              lines{"The folder of the settings is not there: /home/op."})
        << "that says it all";
    EXPECT_EQ(found_after([](doctor_view& view) {
                  view.program_uses_it = false;
                  view.files.configuration = file_condition::damaged;
              }).size(),
              1U)
        << "they are not the running program's";
}

TEST(doctor, finds_logs_that_have_grown_large_or_grow_fast) {
    EXPECT_EQ(found_after([](doctor_view& view) { view.log.bytes = 1'000'000'000; }), lines{});
    EXPECT_EQ(found_after([](doctor_view& view) { view.log.bytes = 1'600'000'000; }),
              lines{"A log has grown to 1600 MB: /home/op/operator-control.log."});
    EXPECT_EQ(found_after([](doctor_view& view) { view.alert_log.per_day = 10'000'000; }), lines{});
    EXPECT_EQ(found_after([](doctor_view& view) { view.alert_log.per_day = 12'000'000; }),
              lines{"The alert log grows by 12 MB a day: something comes and goes all the time."});
}

TEST(doctor, finds_a_program_of_another_version) {
    const view_change older = [](doctor_view& view) { view.started_version = "1.2.2"; };
    EXPECT_EQ(found_after(older), lines{"The program's last start in its log is version 1.2.2, and "
                                        "this tool is version 1.2.3."});
    EXPECT_EQ(found_while_stopped(older), lines{}); // the next start is the new one
    EXPECT_EQ(found_after([](doctor_view& view) { view.started_version.reset(); }), lines{});
}

TEST(doctor, finds_a_program_that_is_not_the_installed_one) {
    EXPECT_EQ(
        found_after([](doctor_view& view) { view.api_port.programs->front().replaced = true; }),
        lines{"The program was replaced on the disk after its start: the old one still "
              "runs."});
    EXPECT_EQ(found_after([](doctor_view& view) {
                  view.api_port.programs->front().path = "/opt/old/elvantris-redundancy-control";
              }),
              lines{"The program that runs is /opt/old/elvantris-redundancy-control, which is not "
                    "the one beside this tool."});
    EXPECT_EQ(found_after([](doctor_view& view) { view.api_port.programs->front().path.clear(); }),
              lines{});
    EXPECT_EQ(found_after([](doctor_view& view) {
                  view.api_port.programs->insert(view.api_port.programs->begin(), stranger());
              }),
              lines{})
        << "another program beside it is not judged as ours";
}

TEST(doctor, notes_what_the_system_does_not_tell) {
    EXPECT_EQ(noted_after([](doctor_view& view) {
                  view.api_port.programs.reset();
                  view.page_port.programs.reset();
                  view.reserved.reset();
                  view.network.interfaces.reset();
                  view.network.servers.reset();
                  view.decks.reset();
              }),
              (lines{"The system does not say who holds its ports.",
                     "The system does not say which ports it keeps for itself.",
                     "The system does not list its networks.", "The servers could not be asked.",
                     "The decks on the bus could not be listed."}));
    EXPECT_EQ(found_after([](doctor_view& view) {
                  view.api_port.programs.reset();
                  view.network.interfaces.reset();
                  view.network.servers.reset();
                  view.decks.reset();
              }),
              lines{});
}
