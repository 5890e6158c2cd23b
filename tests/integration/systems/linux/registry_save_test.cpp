#include "systems/controller_registry.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/resource.h>

using namespace elvantris::operator_control;

TEST(save, leaves_the_old_file_and_no_other_where_nothing_more_can_be_written) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    ASSERT_EQ(write_whole_file(path, "old"), write_outcome::written);
    std::filesystem::create_symlink("/dev/full", path + ".tmp");
    const controller_registry registry(path);
    registry.save();
    EXPECT_EQ(read_whole_file(path, 4096), "old");
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(path + ".tmp")));
}

TEST(save, leaves_the_old_file_where_no_file_may_grow_any_more) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.json");
    ASSERT_EQ(write_whole_file(path, "old"), write_outcome::written);
    const controller_registry registry(path);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{.rlim_cur = 16, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    registry.save();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(read_whole_file(path, 4096), "old");
    EXPECT_FALSE(path_exists(path + ".tmp"));
}
