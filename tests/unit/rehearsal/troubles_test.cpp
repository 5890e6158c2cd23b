#include "rehearsal/troubles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace elvantris::rehearsal {
namespace {

trouble_set with(std::initializer_list<std::string_view> names) {
    trouble_set set;
    for (const std::string_view name : names)
        change_troubles(set, name, true);
    return set;
}

TEST(troubles, a_server_without_any_plays_the_show_and_has_no_switch_set) {
    EXPECT_EQ(outputs_under({}), "The show.");
    EXPECT_EQ(switches_for({}).dump(), R"({"reset":true})");
}

TEST(troubles, each_has_words_an_outcome_and_switches_of_its_own) {
    std::set<std::string> seen;
    for (const trouble& each : all_troubles()) {
        EXPECT_FALSE(each.words.empty());
        EXPECT_EQ(outputs_under(with({each.name})), each.outputs);
        EXPECT_TRUE(seen.insert(switches_for(with({each.name})).dump()).second) << each.name;
    }
}

TEST(troubles, several_are_set_together_and_the_gravest_is_seen) {
    const trouble_set set = with({"cable", "picture"});
    EXPECT_EQ(outputs_under(set), "A still picture.");
    EXPECT_EQ(switches_for(set).dump(), R"({"reset":true,"frames":"frozen","cable":"pulled"})");
}

TEST(troubles, a_stopped_engine_and_a_starting_one_replace_each_other) {
    EXPECT_EQ(with({"engine", "restart"}), trouble_set{"restart"});
    EXPECT_EQ(with({"restart", "engine"}), trouble_set{"engine"});
}

TEST(troubles, one_that_ends_leaves_the_others) {
    trouble_set set = with({"cable", "picture"});
    EXPECT_TRUE(change_troubles(set, "cable", false));
    EXPECT_EQ(set, trouble_set{"picture"});
}

TEST(troubles, an_unknown_one_changes_nothing) {
    trouble_set set = with({"cable"});
    EXPECT_FALSE(change_troubles(set, "rain", true));
    EXPECT_EQ(set, trouble_set{"cable"});
}

} // namespace
} // namespace elvantris::rehearsal
