#include "protection/state_file.hpp"

#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>
#include <vector>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 1'000'000;

saved_protection held_protection() {
    saved_protection saved;
    saved.heldOnBackup = true;
    saved.pairMain = "M1";
    saved.pairBackup = "B1";
    return saved;
}

} // namespace

TEST(state_file, makes_the_folders_on_the_way_and_leaves_no_temporary_file) {
    const temporary_folder folder;
    const std::string path = path_inside(folder.file("a"), "state.json");
    ASSERT_TRUE(state_file(path).save(held_protection()));
    EXPECT_EQ(read_whole_file(path, ample), write_saved_protection(held_protection()));
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST(state_file, truncates_the_temporary_file_that_a_crash_left_behind) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    ASSERT_TRUE(state_file(path).save(saved_protection{}));
    ASSERT_EQ(write_whole_file(path + ".tmp", std::string(100'000, 'x')), write_outcome::written);
    EXPECT_EQ(read_whole_file(path, ample), write_saved_protection(saved_protection{}))
        << "what the crash left does not count";
    ASSERT_TRUE(state_file(path).save(held_protection()));
    EXPECT_EQ(read_whole_file(path, ample), write_saved_protection(held_protection()));
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST(state_file, fails_with_the_old_file_whole_when_the_temporary_file_can_not_be_opened) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    ASSERT_TRUE(state_file(path).save(saved_protection{}));
    std::filesystem::create_directory(path + ".tmp");
    EXPECT_FALSE(state_file(path).save(held_protection()));
    EXPECT_EQ(read_whole_file(path, ample), write_saved_protection(saved_protection{}));
}

TEST(state_file, fails_when_a_folder_stands_in_the_place_of_the_file) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    std::filesystem::create_directory(path);
    EXPECT_FALSE(state_file(path).save(held_protection()));
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST(state_file, fails_when_its_folder_can_not_be_made) {
    const temporary_folder folder;
    ASSERT_EQ(write_whole_file(folder.file("file"), "x"), write_outcome::written);
    EXPECT_FALSE(
        state_file(path_inside(folder.file("file"), "state.json")).save(held_protection()));
}

TEST(state_file, that_is_damaged_gives_what_can_be_read_and_is_kept_before_the_next_save) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    const std::string whole = write_saved_protection(held_protection());
    const std::string torn = whole.substr(0, whole.find(",\"pairMain\""));
    ASSERT_EQ(write_whole_file(path, torn), write_outcome::written);
    const captured_log log;
    state_file file(path);
    saved_protection saved;
    std::string error;
    file.load(saved, error);
    EXPECT_EQ(error, "");
    EXPECT_TRUE(saved.heldOnBackup);
    EXPECT_EQ(saved.pairMain, "");
    EXPECT_EQ(log.error(), "[settings] " + path +
                               " is damaged; defaults take the place of what is missing, and a "
                               "hold on Backup may be lost. It is kept as " +
                               path + ".unreadable-1 before anything is saved over it.\n");
    EXPECT_EQ(read_whole_file(path, ample), torn);
    ASSERT_TRUE(file.save(saved_protection{}));
    EXPECT_EQ(read_whole_file(path + ".unreadable-1", ample), torn);
    EXPECT_EQ(read_whole_file(path, ample), write_saved_protection(saved_protection{}));
}

// One bit that a disk turned over is enough: the file is one object still, and the hold is gone.
TEST(state_file, that_has_lost_a_part_of_its_hold_is_told_of_and_kept) {
    const std::string whole = write_saved_protection(held_protection());
    const std::vector<std::pair<std::string, std::string>> damages{
        {"heldOnBackup", "heldOnBackuq"},
        {"true,\"pairMain\"", "urue,\"pairMain\""},
        {"pairMain", "pairMaio"},
        {"pairBackup", "pairBackuq"}};
    for (const auto& [sound, damaged] : damages) {
        const temporary_folder folder;
        const std::string path = folder.file("state.json");
        std::string text = whole;
        ASSERT_NE(text.find(sound), std::string::npos);
        text.replace(text.find(sound), sound.size(), damaged);
        ASSERT_EQ(write_whole_file(path, text), write_outcome::written);
        const captured_log log;
        state_file file(path);
        saved_protection saved;
        std::string error;
        file.load(saved, error);
        EXPECT_NE(log.error().find(" is damaged"), std::string::npos) << text;
        ASSERT_TRUE(file.save(saved));
        EXPECT_EQ(read_whole_file(path + ".unreadable-1", ample), text);
    }
}

TEST(state_file, with_an_invalid_policy_is_read_and_not_kept) {
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    ASSERT_EQ(write_whole_file(path, R"({"resources":2})"), write_outcome::written);
    const captured_log log;
    state_file file(path);
    saved_protection saved;
    std::string error;
    file.load(saved, error);
    EXPECT_EQ(error, "Resource pressure supports Ignore or Alert only.");
    ASSERT_TRUE(file.save(saved));
    EXPECT_FALSE(path_exists(path + ".unreadable-1"));
    EXPECT_EQ(log.error(), "");
}

TEST(state_file, holds_the_largest_policy_that_can_be_posted) {
    constexpr std::size_t largest_request = 4'194'304;
    const temporary_folder folder;
    const std::string path = folder.file("state.json");
    saved_protection written = held_protection();
    // No byte gets longer in the file than a control byte.
    written.policy.outputRules.push_back(
        {.mainId = std::string(largest_request, '\x01'), .backupId = "", .mode = mode_alert});
    ASSERT_TRUE(state_file(path).save(written));
    saved_protection read;
    std::string error;
    state_file(path).load(read, error);
    EXPECT_EQ(write_saved_protection(read), write_saved_protection(written));
}
