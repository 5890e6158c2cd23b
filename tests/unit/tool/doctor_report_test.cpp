#include "tool/doctor_report.hpp"

#include "unit/tool/healthy_workstation.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(doctor_report, shows_what_was_seen_of_a_healthy_workstation) {
    const tool_answer answer = answer_doctor(healthy_workstation(), {}, {});
    EXPECT_EQ(answer.exit, tool_exit::all_well);
    for (const char* line :
         {"HEALTHY\nPorts\n", "\n  5251: elvantris-redundancy-control (process 7)\n",
          "\n  lan 10.77.0.10/24, broadcast 10.77.0.255: Main (SER-A) at 10.77.0.11, Backup "
          "(SER-B) "
          "at 10.77.0.12\n",
          "\n  Stream Deck XL (XL-1), /dev/hidraw0: usable, open in elvantris-redundancy-control "
          "(process 7)\n",
          "\n  /home/op/operator-control.log: 4.1 MB\n",
          "\n  /home/op/alerts.jsonl: 0.1 MB, 0.0 MB a day\n",
          "\n  tool 1.2.3, last start of the program 1.2.3\n"})
        EXPECT_NE(answer.text.find(line), std::string::npos) << line << "in\n" << answer.text;
    EXPECT_EQ(answer.text.find("elsewhere"), std::string::npos);
}

TEST(doctor_report, has_a_line_for_each_finding_and_each_note) {
    const tool_answer answer = answer_doctor(
        stopped_workstation(), {{.id = "port", .sentence = "A is wrong.", .advice = "Do this."}},
        {{.id = "program", .sentence = "B is so.", .advice = "It is well."}});
    EXPECT_EQ(answer.exit, tool_exit::findings);
    EXPECT_TRUE(answer.text.starts_with(
        "NOT HEALTHY\n- A is wrong. Do this.\nNote: B is so. It is well.\nPorts\n  5251: free\n"))
        << answer.text;
    EXPECT_EQ(answer.tree["healthy"], false);
    EXPECT_EQ(answer.tree["findings"][0]["id"], "port");
    EXPECT_EQ(answer.tree["notes"][0]["id"], "program");
}

TEST(doctor_report, gives_a_program_the_same) {
    doctor_view view = healthy_workstation();
    view.network.servers->push_back(answer_of("SER-C", 13));
    view.network.servers->back().address = 0x0A010105;
    const json_tree tree = answer_doctor(view, {}, {}).tree;
    EXPECT_EQ(tree["ports"][0]["programs"][0]["process"], 7);
    EXPECT_EQ(tree["networks"].size(), 1U);
    EXPECT_EQ(tree["networks"][0]["broadcast"], "10.77.0.255");
    EXPECT_EQ(tree["networks"][0]["servers"][1]["serial"], "SER-B");
    EXPECT_EQ(tree["networks"][0]["servers"][1]["reachedFrom"], "10.77.0.10");
    EXPECT_EQ(tree["otherServers"][0]["serial"], "SER-C");
    EXPECT_EQ(tree["decks"][0]["access"], "usable");
    EXPECT_EQ(tree["folder"]["writable"], true);
    EXPECT_EQ(tree["alertLog"]["bytesPerDay"], 2000);
    EXPECT_EQ(tree["startedVersion"], "1.2.3");
}

TEST(doctor_report, leaves_empty_what_the_system_does_not_tell) {
    doctor_view view = healthy_workstation();
    view.api_port.programs.reset();
    view.reserved.reset();
    view.network = {};
    view.decks.reset();
    view.started_version.reset();
    const tool_answer answer = answer_doctor(view, {}, {});
    EXPECT_NE(answer.text.find("\n  5251: unknown\n"), std::string::npos);
    EXPECT_NE(answer.text.find("Decks\n  unknown\n"), std::string::npos);
    for (const char* key : {"reservedPorts", "networks", "otherServers", "decks", "startedVersion"})
        EXPECT_TRUE(answer.tree[key].is_null()) << key;
    view.network.interfaces = healthy_workstation().network.interfaces;
    EXPECT_NE(answer_doctor(view, {}, {}).text.find("broadcast 10.77.0.255: not asked\n"),
              std::string::npos);
}

TEST(doctor_report, leaves_out_the_port_of_a_page_that_nobody_tells) {
    doctor_view view = stopped_workstation();
    view.page_port = {};
    const tool_answer answer = answer_doctor(view, {}, {});
    EXPECT_NE(answer.text.find("Ports\n  5251: free\nNetworks\n"), std::string::npos);
    EXPECT_EQ(answer.tree["ports"].size(), 1U);
}
