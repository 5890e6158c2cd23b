#include "os/processes.hpp"

#include "os/file_paths.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(describe_process, knows_the_file_of_this_one) {
    const running_program program = describe_this_process();
    EXPECT_EQ(program.name, "integration_tests");
    EXPECT_TRUE(path_exists(program.path)) << program.path;
    EXPECT_FALSE(program.replaced);
}

TEST(describe_process, is_empty_for_one_that_is_not_there) {
    const running_program program = describe_process(0x7FFFFFFE);
    EXPECT_TRUE(program.name.empty());
    EXPECT_TRUE(program.path.empty());
}
