#include "systems/system_record.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(system_role, has_three_words_and_three_numbers) {
    EXPECT_EQ(role_word(system_role::independent), "Independent");
    EXPECT_EQ(role_word(system_role::main), "Main");
    EXPECT_EQ(role_word(system_role::backup), "Backup");
    EXPECT_EQ(static_cast<int>(system_role::independent), 0);
    EXPECT_EQ(static_cast<int>(system_role::main), 1);
    EXPECT_EQ(static_cast<int>(system_role::backup), 2);
}

TEST(role_from_word, takes_any_other_word_as_independent) {
    EXPECT_EQ(role_from_word("Main"), system_role::main);
    EXPECT_EQ(role_from_word("Backup"), system_role::backup);
    for (const std::string_view word :
         {"Independent", "main", "MAIN", "backup", "Main ", "Mai", "", "1", "2"})
        EXPECT_EQ(role_from_word(word), system_role::independent) << word;
}

TEST(system_record, starts_with_the_defaults) {
    const system_record record;
    EXPECT_EQ(record.serial, "");
    EXPECT_EQ(record.workstation, "");
    EXPECT_EQ(record.address, "");
    EXPECT_EQ(record.webPort, 5000);
    EXPECT_EQ(record.controlPort, 1256);
    EXPECT_EQ(record.role, system_role::independent);
    EXPECT_EQ(record.backupForSerial, "");
    EXPECT_FALSE(record.online);
    EXPECT_FALSE(record.uiReady);
    EXPECT_EQ(record.lastSeen, steady_time{});
    EXPECT_FALSE(record.replicationEnabled);
    EXPECT_EQ(record.replicationRole, "Independent");
    EXPECT_EQ(record.replicationRevision, 0);
    EXPECT_EQ(record.replicationAppliedRevision, 0);
    EXPECT_EQ(record.replicationPendingMedia, 0);
    EXPECT_EQ(record.replicationEventTitle, "");
    EXPECT_EQ(record.replicationLastError, "");
}
