#include "systems/pairing_sync.hpp"

#include "systems/server_replies.hpp"
#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

using namespace elvantris::operator_control;

namespace {

operator_control_config pairing() {
    return {.enabled = true,
            .systems = {{.serial = "M",
                         .workstation_name = "W1",
                         .address = "10.0.0.1",
                         .role = system_role::main,
                         .backup_for_serial = ""},
                        {.serial = "B",
                         .workstation_name = "W2",
                         .address = "10.0.0.2",
                         .role = system_role::backup,
                         .backup_for_serial = "M"}},
            .shared_function_ids = {4, 1},
            .replication_revision = 0};
}

} // namespace

TEST(pairing_equivalent, compares_only_what_the_pairing_consists_of) {
    const auto independent = member_of_pairing("I", system_role::independent);
    using change = std::function<void(operator_control_config&)>;
    struct {
        const char* what;
        bool equivalent;
        change apply;
    } const cases[] = {
        {"nothing", true, [](auto&) {}},
        {"workstation", true, [](auto& c) { c.systems[0].workstation_name += 'x'; }},
        {"address", true, [](auto& c) { c.systems[0].address += '9'; }},
        {"revision", true, [](auto& c) { c.replication_revision = 99; }},
        {"order", true, [](auto& c) { std::swap(c.systems[0], c.systems[1]); }},
        {"repeated system", true, [](auto& c) { c.systems.push_back(c.systems[0]); }},
        {"enabled", false, [](auto& c) { c.enabled = false; }},
        {"fewer functions", false, [](auto& c) { c.shared_function_ids.erase(4); }},
        {"more functions", false, [](auto& c) { c.shared_function_ids.insert(5); }},
        {"serial", false, [](auto& c) { c.systems[0].serial += 'x'; }},
        {"role", false, [](auto& c) { c.systems[0].role = system_role::independent; }},
        {"backup of another", false, [](auto& c) { c.systems[1].backup_for_serial += 'x'; }},
        {"missing system", false, [](auto& c) { c.systems.pop_back(); }},
        {"independent system", false, [&](auto& c) { c.systems.push_back(independent); }},
    };
    for (const auto& [what, equivalent, apply] : cases) {
        operator_control_config changed = pairing();
        apply(changed);
        EXPECT_EQ(pairing_equivalent(pairing(), changed), equivalent) << what;
        EXPECT_EQ(pairing_equivalent(changed, pairing()), equivalent) << what;
    }
}

TEST(build_operator_control_json, writes_the_fields_in_their_fixed_order) {
    EXPECT_EQ(build_operator_control_json(pairing(), 42),
              R"({"Enabled":true,"Systems":[)"
              R"({"Serial":"M","WorkstationName":"W1","Address":"10.0.0.1","Role":"Main",)"
              R"("BackupForSerial":""},)"
              R"({"Serial":"B","WorkstationName":"W2","Address":"10.0.0.2","Role":"Backup",)"
              R"("BackupForSerial":"M"}],"SharedFunctionIds":[1,4],"ReplicationRevision":42})");
    EXPECT_EQ(build_operator_control_json({}, -9223372036854775807),
              R"({"Enabled":false,"Systems":[],"SharedFunctionIds":[],)"
              R"("ReplicationRevision":-9223372036854775807})");
}

TEST(build_operator_control_json, escapes_the_four_texts) {
    operator_control_config config;
    config.systems = {{.serial = "\"",
                       .workstation_name = "\\",
                       .address = "\n",
                       .role = system_role::independent,
                       .backup_for_serial = "\x01"}};
    EXPECT_EQ(build_operator_control_json(config, 0),
              R"({"Enabled":false,"Systems":[{"Serial":"\"","WorkstationName":"\\","Address":"\n",)"
              R"("Role":"Independent","BackupForSerial":"\u0001"}],"SharedFunctionIds":[],)"
              R"("ReplicationRevision":0})");
}

TEST(build_operator_control_json, is_read_back_as_the_same_pairing) {
    const operator_control_config read =
        parse_operator_control_config(build_operator_control_json(pairing(), 42));
    EXPECT_TRUE(pairing_equivalent(read, pairing()));
    EXPECT_EQ(read.replication_revision, 42);
}

TEST(splice_operator_control, replaces_the_value_and_keeps_the_rest_byte_for_byte) {
    struct {
        std::string_view model;
        std::string_view spliced;
    } const cases[] = {
        {R"({"OperatorControl":{"a":"}"},"b": 1 })", R"({"OperatorControl":NEW,"b": 1 })"},
        {R"({ "b":1, "OperatorControl" :  null})", R"({ "b":1, "OperatorControl" :  NEW})"},
        {R"({"OperatorControl":[1,2],"b":1})", R"({"OperatorControl":NEW,"b":1})"},
        {R"({"OperatorControl":"x,}","b":1})", R"({"OperatorControl":NEW,"b":1})"},
        {R"({"operatorControl":{},"b":1})", R"({"operatorControl":NEW,"b":1})"},
        {R"({"operatorControl":1,"OperatorControl":2})",
         R"({"operatorControl":1,"OperatorControl":NEW})"},
        {R"({"deep":{"OperatorControl":1},"OperatorControl":2})",
         R"({"deep":{"OperatorControl":NEW},"OperatorControl":2})"},
        {"{\"OperatorControl\":0}\r\n", "{\"OperatorControl\":NEW}\r\n"},
    };
    for (const auto& [model, spliced] : cases)
        EXPECT_EQ(splice_operator_control(model, "NEW"), spliced) << model;
}

TEST(splice_operator_control, adds_the_object_ahead_of_the_last_brace) {
    struct {
        std::string_view model;
        std::string_view spliced;
    } const cases[] = {
        {R"({"a":1})", R"({"a":1,"OperatorControl":NEW})"},
        {"{}", R"({"OperatorControl":NEW})"},
        {"{ }", R"({"OperatorControl":NEW })"},
        {"{\"a\":1\r\n}\n", "{\"a\":1,\"OperatorControl\":NEW\r\n}\n"},
        {R"({"a":{}})", R"({"a":{},"OperatorControl":NEW})"},
        {R"({"a":{"b":1}} tail)", R"({"a":{"b":1},"OperatorControl":NEW} tail)"},
        {"ERRO}", R"(ERRO,"OperatorControl":NEW})"},
        {"}", R"("OperatorControl":NEW})"},
        {" \t}", "\"OperatorControl\":NEW \t}"},
        {R"({"operatorcontrol":1})", R"({"operatorcontrol":1,"OperatorControl":NEW})"},
    };
    for (const auto& [model, spliced] : cases)
        EXPECT_EQ(splice_operator_control(model, "NEW"), spliced) << model;
}

TEST(splice_operator_control, looks_for_another_place_if_the_old_value_does_not_end) {
    EXPECT_EQ(splice_operator_control(R"(,{"a":{},"OperatorControl":{"b":1)", "NEW"),
              R"(,{"a":{"OperatorControl":NEW},"OperatorControl":{"b":1)");
    EXPECT_EQ(splice_operator_control(R"(,{"operatorControl":1,"OperatorControl":{)", "NEW"),
              R"(,{"operatorControl":NEW,"OperatorControl":{)");
}

// A show as a server hands it out: both kinds of nesting, braces and quotes inside strings, and
// the object in the middle.
constexpr std::string_view recorded_model =
    " \r\n{\"Title\":\"Gala {\\\"1\\\"} \\\\\",\"Cues\":[{\"Id\":1,\"Note\":\"}\"},{\"Id\":2}],"
    "\"OperatorControl\":{\"Enabled\":true,\"Systems\":[{\"Serial\":\"A\"}]},"
    "\"ReplicationRevision\":7,\"Media\":{\"Path\":\"C:\\\\show\\\\\",\"Nested\":{}}}\r\n \t";

TEST(splice_operator_control, takes_a_show_whole_or_not_at_all) {
    const std::size_t whole = recorded_model.rfind('}') + 1;
    for (std::size_t cut = 0; cut <= recorded_model.size(); ++cut)
        EXPECT_EQ(splice_operator_control(recorded_model.substr(0, cut), "NEW").empty(),
                  cut < whole)
            << cut;
}

TEST(splice_operator_control, takes_a_show_without_the_object_whole_or_not_at_all) {
    const std::string_view model = R"({"Title":"}","Cues":[{"Id":1},{"Id":2}],"Media":{"a":{}}} )";
    for (std::size_t cut = 0; cut <= model.size(); ++cut)
        EXPECT_EQ(splice_operator_control(model.substr(0, cut), "NEW").empty(),
                  cut < model.size() - 1)
            << cut;
}

TEST(splice_operator_control, is_empty_when_there_is_no_place) {
    for (const std::string_view model :
         {"", " ", "ERRO", "[1]", "{\"a\":1", "{\"OperatorControl\":1", R"({"a":{},"b":")",
          R"({"a":{},"OperatorControl":{"b":1)", R"({"operatorControl":1,"OperatorControl":{)",
          " \t\v\f\r\n{\"a\":{}"})
        EXPECT_EQ(splice_operator_control(model, "NEW"), "") << model;
}

TEST(sync_configured_pairing, records_why_it_sends_nothing) {
    const auto unpaired = paired_registry();
    unpaired->set_role("B", system_role::independent, "");
    const auto of_another_main = paired_registry();
    of_another_main->set_role("B", system_role::backup, "C");
    const auto without_main = paired_registry();
    without_main->set_role("M", system_role::independent, "");
    const auto main_offline = paired_registry();
    main_offline->set_online("M", false, first_round);
    const auto unconfigured = empty_registry();
    struct {
        controller_registry& registry;
        std::string message;
    } const cases[] = {
        {*unconfigured, "Redundancy Control has not been configured on this workstation."},
        {*unpaired, "Choose a Main and Backup."},
        {*of_another_main, "Choose a Main and Backup."},
        {*without_main, "Choose a Main and Backup."},
        {*main_offline, "Pairing saved locally. Waiting for Main to come online."},
    };
    for (const auto& [registry, expected] : cases) {
        registry.set_policy_sync(true, "before");
        std::string message = "left over";
        EXPECT_FALSE(sync_configured_pairing(registry, message));
        EXPECT_EQ(message, expected);
        EXPECT_FALSE(registry.policy_synchronized());
        EXPECT_NE(registry.to_json().find(R"("policySyncMessage":")" + expected + '"'),
                  std::string::npos);
    }
}
