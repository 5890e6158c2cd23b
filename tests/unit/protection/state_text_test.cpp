#include "protection/state_file.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

protection_memory held_memory() {
    protection_memory memory;
    memory.policy.lossMs = 700;
    memory.heldOnBackup = true;
    memory.pairMain = "M\"1";
    memory.pairBackup = "B\\1";
    return memory;
}

} // namespace

TEST(write_memory, puts_the_hold_and_its_pair_behind_the_policy_on_one_line) {
    const protection_memory memory = held_memory();
    std::string policy = write_policy(memory.policy);
    policy.pop_back();
    EXPECT_EQ(write_memory(memory),
              policy + R"(,"heldOnBackup":true,"pairMain":"M\"1","pairBackup":"B\\1"})");
    EXPECT_NE(write_memory(protection_memory{})
                  .find(R"("actions":[],"heldOnBackup":false,"pairMain":"","pairBackup":""})"),
              std::string::npos);
}

TEST(read_memory, gives_back_what_was_written) {
    protection_memory memory;
    std::string error;
    ASSERT_TRUE(read_memory(write_memory(held_memory()), memory, error));
    EXPECT_EQ(error, "");
    EXPECT_EQ(memory.policy.lossMs, 700U);
    EXPECT_TRUE(memory.heldOnBackup);
    EXPECT_EQ(memory.pairMain, "M\"1");
    EXPECT_EQ(memory.pairBackup, "B\\1");
}

TEST(read_memory, takes_an_empty_text_as_all_defaults) {
    protection_memory memory;
    std::string error;
    ASSERT_TRUE(read_memory("", memory, error));
    EXPECT_EQ(write_memory(memory), write_memory(protection_memory{}));
}

TEST(read_memory, leaves_everything_alone_when_the_policy_breaks_a_rule) {
    protection_memory memory;
    std::string error;
    EXPECT_FALSE(
        read_memory(R"({"resources":2,"heldOnBackup":true,"pairMain":"M1"})", memory, error));
    EXPECT_EQ(error, "Resource pressure supports Ignore or Alert only.");
    EXPECT_EQ(write_memory(memory), write_memory(protection_memory{}));
}
