#include "os/process.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(host_name, is_the_first_label_and_at_most_15_characters) {
    const std::string name = host_name();
    EXPECT_FALSE(name.empty());
    EXPECT_LE(name.size(), 15U);
    EXPECT_EQ(name.find('.'), std::string::npos);
}

TEST(environment_variable, is_absent_only_if_it_is_not_set) {
    EXPECT_TRUE(environment_variable("PATH"));
    EXPECT_EQ(environment_variable("ELVANTRIS_NO_SUCH_VARIABLE"), std::nullopt);
}
