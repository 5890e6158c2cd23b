#include "tool/saved_files.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"
#include "protection/protection_disk.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

saved_files files_with_protection(const std::string& text) {
    const temporary_folder folder;
    const std::string config = folder.file("operator-control.json");
    EXPECT_EQ(write_whole_file(config, "{}"), write_outcome::written);
    EXPECT_EQ(write_whole_file(state_path_for(config), text), write_outcome::written);
    return read_saved_files(config);
}

} // namespace

TEST(saved_files, take_the_protection_file_for_whole_exactly_when_the_program_does) {
    saved_protection held;
    held.heldOnBackup = true;
    held.pairMain = "M1";
    held.pairBackup = "B1";
    std::string text = write_saved_protection(held);
    EXPECT_EQ(files_with_protection(text).state, file_condition::whole);
    EXPECT_TRUE(files_with_protection(text).protection.heldOnBackup);
    text.replace(text.find("pairMain"), 8, "pairMaio");
    EXPECT_EQ(files_with_protection(text).state, file_condition::damaged);
    EXPECT_FALSE(files_with_protection(text).protection.heldOnBackup);
    EXPECT_EQ(files_with_protection("{").state, file_condition::damaged);
    EXPECT_EQ(files_with_protection("{}").state, file_condition::whole);
}
