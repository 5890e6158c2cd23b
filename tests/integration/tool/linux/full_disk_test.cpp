#include "tool/new_file.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/process.hpp"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/resource.h>

using namespace elvantris::operator_control;

// As a full disk does, the largest size of a file lets the first bytes through.
TEST(new_file, leaves_no_half_on_a_full_disk) {
    ignore_write_signals();
    const temporary_folder folder;
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{.rlim_cur = 16, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const new_file_outcome outcome =
        write_new_file(folder.file("x.zip"), "more than sixteen bytes");
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(outcome, new_file_outcome::not_written);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}
