#include "watched_pair.hpp"

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

using protection_at_start = watched_pair;

void write_state(const std::string& path, std::string_view text) {
    ASSERT_EQ(write_whole_file(path, text), write_outcome::written);
    ASSERT_TRUE(read_whole_file(path, largest_settings_file).has_value());
}

const std::string defaults = write_policy(protection_policy{});

} // namespace

TEST_F(protection_at_start, is_armed_with_the_defaults_without_a_file_or_with_an_empty_one) {
    EXPECT_EQ(write_policy(shown().policy), defaults);
    EXPECT_EQ(last_action(), "");
    write_state(state_path(), "");
    restart();
    EXPECT_EQ(write_policy(shown().policy), defaults);
    EXPECT_EQ(last_action(), "");
}

TEST_F(protection_at_start, keeps_its_file_beside_the_configuration_under_the_whole_of_its_name) {
    ASSERT_TRUE(operate("disarm"));
    EXPECT_TRUE(
        read_whole_file(folder.file("operator-control.json.protection.json"), largest_settings_file)
            .has_value());
    restart();
    EXPECT_FALSE(shown().policy.armed);
}

TEST_F(protection_at_start, tells_of_an_invalid_policy_and_leaves_the_file_until_the_first_save) {
    const std::string invalid =
        R"({"resources":2,"heldOnBackup":true,"pairMain":"M1","pairBackup":"B1"})";
    write_state(state_path(), invalid);
    restart();
    EXPECT_EQ(last_action(), "Invalid saved protection settings: Resource pressure supports "
                             "Ignore or Alert only.");
    EXPECT_EQ(write_policy(shown().policy), defaults);
    EXPECT_FALSE(held());
    protection->begin(now.steady);
    EXPECT_EQ(read_whole_file(state_path(), largest_settings_file), invalid);
    cycle_after(0ms);
    saved_protection expected;
    expected.pairMain = "M1";
    expected.pairBackup = "B1";
    EXPECT_EQ(read_whole_file(state_path(), largest_settings_file),
              write_saved_protection(expected));
}

TEST_F(protection_at_start, saves_once_for_a_new_pair_and_not_again_for_the_same) {
    watch();
    EXPECT_EQ(saved().pairMain, "M1");
    EXPECT_EQ(saved().pairBackup, "B1");
    std::filesystem::remove(state_path());
    cycle_after(250ms);
    EXPECT_FALSE(std::filesystem::exists(state_path()));
}

TEST_F(protection_at_start, replaces_the_policy_alone_when_one_is_posted) {
    hold_on_backup();
    const auto alerts_before = alerts().size();
    protection_policy posted;
    posted.armed = false;
    posted.stallMs = 2500;
    use_policy(posted);
    EXPECT_EQ(saved().policy.stallMs, 2500U);
    EXPECT_TRUE(saved().heldOnBackup);
    EXPECT_EQ(protection->stall_ms(), 2500U);
    EXPECT_EQ(alerts().size(), alerts_before);
    EXPECT_EQ(registry.active_role(), "backup");
    use_policy(parse_policy("{}"));
    EXPECT_TRUE(shown().policy.armed) << "a policy without the key arms";
}
