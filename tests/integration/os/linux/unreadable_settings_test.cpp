// What keeps a file from being read on Linux: no descriptor, or no file at all under the name.
#include "integration/support/unreadable_settings.hpp"

#include "integration/support/linux/without_descriptors.hpp"

#include <filesystem>
#include <sys/stat.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

std::shared_ptr<void> take_descriptors(const std::string& /*path*/) {
    return std::make_shared<without_descriptors>();
}

} // namespace

TEST_F(unreadable_settings, are_not_saved_over_and_are_kept_once_they_can_be_read) {
    expect_not_saved_over_and_kept_once_it_can_be_read(take_descriptors);
}

TEST_F(unreadable_settings, that_can_be_read_a_little_later_are_read_then) {
    expect_read_once_it_can_be(take_descriptors);
}

TEST_F(unreadable_settings, hold_no_caller_that_is_to_end) {
    expect_left_alone_by_a_caller_that_ends(take_descriptors);
}

TEST_F(unreadable_settings, that_are_a_pipe_get_the_other_name) {
    remove_file(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    file.load(take_nothing, call_limits{}.within(0ms));
    EXPECT_TRUE(file.save([] { return "new"; }));
    EXPECT_TRUE(std::filesystem::is_fifo(path + ".unreadable-1"));
    EXPECT_EQ(content(), "new");
}

TEST_F(unreadable_settings, that_are_damaged_keep_their_own_name_while_the_disk_is_full) {
    settings_file_rules own = rules;
    own.is_whole = [](std::string_view) { return false; };
    settings_file damaged(path, own);
    damaged.load([](const std::string&) {}, call_limits{}.within(0ms));
    std::filesystem::create_symlink("/dev/full", path + ".tmp");
    EXPECT_FALSE(damaged.save([] { return "new"; }));
    EXPECT_EQ(content(), "{}");
    EXPECT_FALSE(std::filesystem::exists(path + ".unreadable-1"));
}
