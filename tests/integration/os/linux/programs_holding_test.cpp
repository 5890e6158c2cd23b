#include "os/processes.hpp"

#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <fstream>

using namespace elvantris::operator_control;

TEST(programs_holding, names_who_has_the_file_open) {
    const temporary_folder folder;
    const std::string path = folder.file("device");
    {
        const std::ofstream open(path);
        const auto programs = programs_holding(path);
        ASSERT_TRUE(programs);
        ASSERT_EQ(programs->size(), 1U);
        EXPECT_EQ(programs->front().process, describe_this_process().process);
    }
    EXPECT_TRUE(programs_holding(path)->empty());
}
