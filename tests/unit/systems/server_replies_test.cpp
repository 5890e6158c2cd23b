#include "systems/server_replies.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using numbers = std::set<std::int32_t>;

} // namespace

TEST(parse_operator_control_config, reads_either_spelling) {
    const std::string_view texts[] = {
        R"({"enabled":true,"systems":[{"serial":"M","workstationName":"W","address":"10.0.0.1",)"
        R"("role":"Main","backupForSerial":""},{"serial":"B","role":"Backup",)"
        R"("backupForSerial":"M"}],"sharedFunctionIds":[2,1],"replicationRevision":12})",
        R"({"Enabled":true,"Systems":[{"Serial":"M","WorkstationName":"W","Address":"10.0.0.1",)"
        R"("Role":"Main","BackupForSerial":""},{"Serial":"B","Role":"Backup",)"
        R"("BackupForSerial":"M"}],"SharedFunctionIds":[2,1],"ReplicationRevision":12})"};
    for (const std::string_view text : texts) {
        const operator_control_config config = parse_operator_control_config(text);
        EXPECT_TRUE(config.enabled);
        EXPECT_EQ(config.shared_function_ids, (numbers{1, 2}));
        EXPECT_EQ(config.replication_revision, 12);
        ASSERT_EQ(config.systems.size(), 2U);
        EXPECT_EQ(config.systems[0].serial, "M");
        EXPECT_EQ(config.systems[0].workstation_name, "W");
        EXPECT_EQ(config.systems[0].address, "10.0.0.1");
        EXPECT_EQ(config.systems[0].role, system_role::main);
        EXPECT_EQ(config.systems[0].backup_for_serial, "");
        EXPECT_EQ(config.systems[1].role, system_role::backup);
        EXPECT_EQ(config.systems[1].backup_for_serial, "M");
    }
}

TEST(parse_operator_control_config, gives_the_defaults_for_a_meaningless_text) {
    for (const std::string_view text : {"", "{}", "garbage", "{\"Systems\":5}", "<html>"}) {
        const operator_control_config config = parse_operator_control_config(text);
        EXPECT_FALSE(config.enabled) << text;
        EXPECT_TRUE(config.systems.empty()) << text;
        EXPECT_TRUE(config.shared_function_ids.empty()) << text;
        EXPECT_EQ(config.replication_revision, 0) << text;
    }
}

TEST(parse_operator_control_config, lets_pascal_case_win_where_it_can_be_read) {
    struct {
        std::string_view text;
        bool enabled;
    } const cases[] = {{R"({"enabled":true,"Enabled":false})", false},
                       {R"({"Enabled":false,"enabled":true})", false},
                       {R"({"enabled":false,"Enabled":true})", true},
                       {R"({"enabled":true,"Enabled":"x"})", true},
                       {R"({"enabled":"x","Enabled":true})", true},
                       {R"({"enabled":"true"})", false}};
    for (const auto& [text, enabled] : cases)
        EXPECT_EQ(parse_operator_control_config(text).enabled, enabled) << text;
}

TEST(parse_operator_control_config, falls_back_to_camel_case_for_empty_lists) {
    const auto first_serial = [](std::string_view text) {
        const operator_control_config config = parse_operator_control_config(text);
        return config.systems.empty() ? "none" : config.systems[0].serial;
    };
    EXPECT_EQ(first_serial(R"({"Systems":[{"Serial":"A"}],"systems":[{"Serial":"b"}]})"), "A");
    EXPECT_EQ(first_serial(R"({"Systems":[],"systems":[{"Serial":"b"}]})"), "b");
    EXPECT_EQ(first_serial(R"({"Systems":[1,"x"],"systems":[{"Serial":"b"}]})"), "b");
    EXPECT_EQ(first_serial(R"({"Systems":[{}],"systems":[{"Serial":"b"}]})"), "none")
        << "a list that holds an object is not empty";

    const auto ids = [](std::string_view text) {
        return parse_operator_control_config(text).shared_function_ids;
    };
    EXPECT_EQ(ids(R"({"SharedFunctionIds":[1],"sharedFunctionIds":[2]})"), numbers{1});
    EXPECT_EQ(ids(R"({"SharedFunctionIds":[],"sharedFunctionIds":[2]})"), numbers{2});
}

TEST(parse_operator_control_config, lets_the_pascal_case_revision_win_if_it_is_a_number) {
    const auto revision = [](std::string_view text) {
        return parse_operator_control_config(text).replication_revision;
    };
    EXPECT_EQ(revision(R"({"replicationRevision":5,"ReplicationRevision":7})"), 7);
    EXPECT_EQ(revision(R"({"replicationRevision":5,"ReplicationRevision":"7"})"), 5);
    EXPECT_EQ(revision(R"({"ReplicationRevision":8589934592})"), 8589934592);
    EXPECT_EQ(revision(R"({"ReplicationRevision":-4})"), -4);
}

TEST(parse_operator_control_config, drops_systems_without_serial_and_knows_exact_role_words) {
    const operator_control_config config = parse_operator_control_config(
        R"({"Systems":[{"Role":"Main"},{"Serial":"","serial":"ABC","Role":"main"},)"
        R"({"Serial":"","Role":"Backup"},{"Serial":"D","Role":"Backup"},{"Serial":"E"}]})");
    ASSERT_EQ(config.systems.size(), 3U);
    EXPECT_EQ(config.systems[0].serial, "ABC");
    EXPECT_EQ(config.systems[0].role, system_role::independent);
    EXPECT_EQ(config.systems[1].serial, "D");
    EXPECT_EQ(config.systems[1].role, system_role::backup);
    EXPECT_EQ(config.systems[2].role, system_role::independent);
}

TEST(parse_operator_control_config, takes_the_first_occurrence_of_a_key_at_any_depth) {
    EXPECT_TRUE(
        parse_operator_control_config(R"({"Deep":{"enabled":true},"enabled":false})").enabled);
    EXPECT_FALSE(
        parse_operator_control_config(R"({"enabled":false,"Deep":{"enabled":true}})").enabled);
}

TEST(parse_replication_status, reads_either_spelling) {
    const std::string_view texts[] = {
        R"({"enabled":true,"role":"Backup","localSerial":"B","mainSerial":"M","revision":9,)"
        R"("appliedRevision":8,"pendingMedia":7,"eventTitle":"Gala","lastError":"disk"})",
        R"({"Enabled":true,"Role":"Backup","LocalSerial":"B","MainSerial":"M","Revision":9,)"
        R"("AppliedRevision":8,"PendingMedia":7,"EventTitle":"Gala","LastError":"disk"})"};
    for (const std::string_view text : texts) {
        const replication_status status = parse_replication_status(text);
        EXPECT_TRUE(status.enabled);
        EXPECT_EQ(status.role, "Backup");
        EXPECT_EQ(status.local_serial, "B");
        EXPECT_EQ(status.main_serial, "M");
        EXPECT_EQ(status.revision, 9);
        EXPECT_EQ(status.applied_revision, 8);
        EXPECT_EQ(status.pending_media, 7);
        EXPECT_EQ(status.event_title, "Gala");
        EXPECT_EQ(status.last_error, "disk");
    }
}

TEST(parse_replication_status, gives_empty_fields_for_a_meaningless_text) {
    const replication_status status = parse_replication_status("{}");
    EXPECT_FALSE(status.enabled);
    EXPECT_EQ(status.role, "");
    EXPECT_EQ(status.local_serial, "");
    EXPECT_EQ(status.main_serial, "");
    EXPECT_EQ(status.revision, 0);
    EXPECT_EQ(status.applied_revision, 0);
    EXPECT_EQ(status.pending_media, 0);
    EXPECT_EQ(status.event_title, "");
    EXPECT_EQ(status.last_error, "");
}

TEST(parse_replication_status, lets_pascal_case_win_by_the_rule_of_each_type) {
    const replication_status both = parse_replication_status(
        R"({"revision":5,"Revision":7,"appliedRevision":1,"AppliedRevision":"x",)"
        R"("pendingMedia":2,"PendingMedia":3,"role":"a","Role":"","eventTitle":"t",)"
        R"("EventTitle":"T","enabled":true,"Enabled":false})");
    EXPECT_EQ(both.revision, 7);
    EXPECT_EQ(both.applied_revision, 1);
    EXPECT_EQ(both.pending_media, 3);
    EXPECT_EQ(both.role, "a");
    EXPECT_EQ(both.event_title, "T");
    EXPECT_FALSE(both.enabled);
}

TEST(parse_replication_status, reads_revisions_in_64_bits_and_pending_media_in_32) {
    const replication_status status = parse_replication_status(
        R"({"Revision":8589934592,"AppliedRevision":-8589934592,"PendingMedia":8589934592})");
    EXPECT_EQ(status.revision, 8589934592);
    EXPECT_EQ(status.applied_revision, -8589934592);
    EXPECT_EQ(status.pending_media, 2147483647);
}

TEST(parse_identity_serial, reads_either_spelling_and_nothing_else) {
    struct {
        std::string_view text;
        std::string_view serial;
    } const cases[] = {{R"({"Serial":"A","serial":"b"})", "A"},
                       {R"({"Serial":"","serial":"ABC"})", "ABC"},
                       {R"({"serial":"b"})", "b"},
                       {R"({"SERIAL":"A"})", ""},
                       {R"({"Serial":7})", ""},
                       {"", ""}};
    for (const auto& [text, serial] : cases)
        EXPECT_EQ(parse_identity_serial(text), serial) << text;
}

TEST(parse_operator_control_config, reads_4096_systems_and_as_many_functions) {
    std::string text = R"({"enabled":true,"systems":[{"Serial":"S0"})";
    for (int i = 1; i < 5000; ++i)
        text += R"(,{"Serial":"S)" + std::to_string(i) + "\"}";
    text += R"(],"sharedFunctionIds":[0)";
    for (int i = 1; i < 5000; ++i)
        text += ',' + std::to_string(i);
    const operator_control_config config = parse_operator_control_config(text + "]}");
    EXPECT_EQ(config.systems.size(), 4096U);
    EXPECT_EQ(config.systems.back().serial, "S4095");
    EXPECT_EQ(config.shared_function_ids.size(), 4096U);
}

TEST(parse_operator_control_config, cuts_texts_and_ends_where_they_are_too_much_together) {
    const std::string name(5000, 'n');
    std::string text = R"({"enabled":true,"Systems":[)";
    for (int i = 0; i < 1000; ++i)
        text += R"({"Serial":"S)" + std::to_string(i) + R"(","WorkstationName":")" + name + "\"},";
    const operator_control_config config = parse_operator_control_config(text + "]}");
    EXPECT_EQ(config.systems.front().workstation_name.size(), 4096U);
    EXPECT_EQ(config.systems.size(), 255U);
}

TEST(parse_replication_status, cuts_texts) {
    const std::string text(5000, 't');
    const replication_status status = parse_replication_status(
        R"({"Role":")" + text + R"(","EventTitle":")" + text + R"(","LastError":")" + text + "\"}");
    EXPECT_EQ(status.role.size(), 4096U);
    EXPECT_EQ(status.event_title.size(), 4096U);
    EXPECT_EQ(status.last_error.size(), 4096U);
}
