#include "os/files.hpp"

#include "os/file_paths.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(read_whole_file, is_absent_for_a_folder_and_for_a_file_beyond_the_limit) {
    const std::string path = path_inside(testing::TempDir(), "elvantris_files_test.txt");
    ASSERT_EQ(write_whole_file(path, "12345"), write_outcome::written);
    EXPECT_EQ(read_whole_file(path, 5), "12345");
    EXPECT_EQ(read_whole_file(path, 4), std::nullopt);
    EXPECT_EQ(read_whole_file(testing::TempDir(), 5), std::nullopt);
    remove_file(path);
    EXPECT_EQ(read_whole_file(path, 5), std::nullopt);
}
