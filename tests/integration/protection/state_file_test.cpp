#include "protection/state_file.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>

using namespace elvantris::operator_control;

namespace {

protection_memory held_memory() {
    protection_memory memory;
    memory.heldOnBackup = true;
    memory.pairMain = "M1";
    memory.pairBackup = "B1";
    return memory;
}

} // namespace

TEST(save_memory, makes_the_folders_on_the_way_and_leaves_no_temporary_file) {
    const temporary_folder folder;
    const std::string path = path_inside(folder.file("a"), "state.json");
    ASSERT_TRUE(save_memory(path, held_memory()));
    EXPECT_EQ(load_memory_text(path), write_memory(held_memory()));
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST(save_memory, truncates_the_temporary_file_that_a_crash_left_behind) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    ASSERT_TRUE(save_memory(path, protection_memory{}));
    ASSERT_EQ(write_whole_file(path + ".tmp", std::string(100'000, 'x')), write_outcome::written);
    EXPECT_EQ(load_memory_text(path), write_memory(protection_memory{}))
        << "what the crash left does not count";
    ASSERT_TRUE(save_memory(path, held_memory()));
    EXPECT_EQ(load_memory_text(path), write_memory(held_memory()));
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST(save_memory, fails_with_the_old_file_whole_when_the_temporary_file_can_not_be_opened) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    ASSERT_TRUE(save_memory(path, protection_memory{}));
    std::filesystem::create_directory(path + ".tmp");
    EXPECT_FALSE(save_memory(path, held_memory()));
    EXPECT_EQ(load_memory_text(path), write_memory(protection_memory{}));
}

TEST(save_memory, fails_when_a_folder_stands_in_the_place_of_the_file) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    std::filesystem::create_directory(path);
    EXPECT_FALSE(save_memory(path, held_memory()));
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST(save_memory, fails_when_its_folder_can_not_be_made) {
    const temporary_folder folder;
    ASSERT_EQ(write_whole_file(folder.file("file"), "x"), write_outcome::written);
    EXPECT_FALSE(save_memory(path_inside(folder.file("file"), "state.json"), held_memory()));
}

TEST(load_memory_text, is_absent_for_what_is_no_file) {
    const temporary_folder folder;
    EXPECT_EQ(load_memory_text(folder.file("none.json")), std::nullopt);
    EXPECT_EQ(load_memory_text(folder.path()), std::nullopt);
    ASSERT_EQ(write_whole_file(folder.file("empty.json"), ""), write_outcome::written);
    EXPECT_EQ(load_memory_text(folder.file("empty.json")), "");
}
