#include "protection/state_file.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

saved_protection held_protection() {
    saved_protection saved;
    saved.policy.lossMs = 700;
    saved.heldOnBackup = true;
    saved.pairMain = "M\"1";
    saved.pairBackup = "B\\1";
    return saved;
}

} // namespace

TEST(write_saved_protection, puts_the_hold_and_its_pair_behind_the_policy_on_one_line) {
    const saved_protection saved = held_protection();
    std::string policy = write_policy(saved.policy);
    policy.pop_back();
    EXPECT_EQ(write_saved_protection(saved),
              policy + R"(,"heldOnBackup":true,"pairMain":"M\"1","pairBackup":"B\\1"})");
    EXPECT_NE(write_saved_protection(saved_protection{})
                  .find(R"("actions":[],"heldOnBackup":false,"pairMain":"","pairBackup":""})"),
              std::string::npos);
}

TEST(read_saved_protection, gives_back_what_was_written) {
    saved_protection saved;
    std::string error;
    ASSERT_TRUE(read_saved_protection(write_saved_protection(held_protection()), saved, error));
    EXPECT_EQ(error, "");
    EXPECT_EQ(saved.policy.lossMs, 700U);
    EXPECT_TRUE(saved.heldOnBackup);
    EXPECT_EQ(saved.pairMain, "M\"1");
    EXPECT_EQ(saved.pairBackup, "B\\1");
}

TEST(read_saved_protection, takes_an_empty_text_as_all_defaults) {
    saved_protection saved;
    std::string error;
    ASSERT_TRUE(read_saved_protection("", saved, error));
    EXPECT_EQ(write_saved_protection(saved), write_saved_protection(saved_protection{}));
}

TEST(read_saved_protection, leaves_everything_alone_when_the_policy_breaks_a_rule) {
    saved_protection saved;
    std::string error;
    EXPECT_FALSE(read_saved_protection(R"({"resources":2,"heldOnBackup":true,"pairMain":"M1"})",
                                       saved, error));
    EXPECT_EQ(error, "Resource pressure supports Ignore or Alert only.");
    EXPECT_EQ(write_saved_protection(saved), write_saved_protection(saved_protection{}));
}
