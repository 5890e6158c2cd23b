#include "tool/new_file.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>

using namespace elvantris::operator_control;

namespace {

std::size_t files_in(const temporary_folder& folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder.path()), {}));
}

} // namespace

TEST(new_file, is_there_whole_and_alone) {
    const temporary_folder folder;
    const std::string path = folder.file("b\xC3\xBCndel.zip");
    EXPECT_EQ(write_new_file(path, "abc"), new_file_outcome::written);
    EXPECT_EQ(read_whole_file(path, 9), "abc");
    EXPECT_EQ(files_in(folder), 1U);
}

TEST(new_file, replaces_nothing) {
    const temporary_folder folder;
    const std::string path = folder.file("x.zip");
    ASSERT_EQ(write_whole_file(path, "old"), write_outcome::written);
    EXPECT_EQ(write_new_file(path, "new"), new_file_outcome::exists);
    EXPECT_EQ(read_whole_file(path, 9), "old");
    EXPECT_EQ(write_new_file(folder.path(), "new"), new_file_outcome::exists);
    EXPECT_EQ(files_in(folder), 1U);
}

TEST(new_file, leaves_what_others_have_beside_it) {
    const temporary_folder folder;
    const std::string path = folder.file("x.zip");
    const std::string other = path + ".partial-1";
    ASSERT_EQ(write_whole_file(other, "old"), write_outcome::written);
    EXPECT_EQ(write_new_file(path, "new"), new_file_outcome::written);
    EXPECT_EQ(read_whole_file(path, 9), "new");
    EXPECT_EQ(read_whole_file(other, 9), "old");
    EXPECT_EQ(files_in(folder), 2U);
}

TEST(new_file, needs_a_folder) {
    const temporary_folder folder;
    const std::string path = folder.file("no/x.zip");
    EXPECT_EQ(write_new_file(path, "new"), new_file_outcome::not_created);
    EXPECT_EQ(new_file_sentence(new_file_outcome::not_created, "x"),
              "x can't be written. Is the folder there, and may you write in it?");
}
