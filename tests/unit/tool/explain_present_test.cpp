#include "tool/explain_present.hpp"

#include <gtest/gtest.h>

#include <utility>

using namespace elvantris::operator_control;

namespace {

using lines = std::vector<std::string>;

explain_view view_with(const saved_files& files) {
    explain_view view;
    take_from_files(view, files, "operator-control.json");
    return view;
}

// An enabled pair, held on Backup.
saved_files whole_files() {
    saved_files files;
    files.configuration = files.state = file_condition::whole;
    files.registry.enabled = true;
    files.protection.heldOnBackup = true;
    return files;
}

} // namespace

TEST(explain_present, is_all_that_whole_files_tell) {
    const explain_view view = view_with(whole_files());
    EXPECT_EQ(view.enabled, true);
    EXPECT_EQ(view.held_on_backup, true);
    EXPECT_TRUE(view.policy);
    EXPECT_EQ(view.notes, lines{});
}

TEST(explain_present, has_the_defaults_before_the_first_change_of_protection) {
    saved_files files = whole_files();
    files.state = file_condition::missing;
    files.protection = {};
    const explain_view view = view_with(files);
    EXPECT_EQ(view.held_on_backup, false);
    EXPECT_TRUE(view.policy);
    EXPECT_EQ(view.notes, lines{});
}

TEST(explain_present, leaves_the_pair_of_a_bad_configuration_unknown_and_says_why) {
    for (const auto& [condition, note] :
         {std::pair{file_condition::missing,
                    "There is no configuration file at operator-control.json."},
          std::pair{file_condition::unreadable, "The configuration file can't be read."},
          std::pair{file_condition::damaged, "The configuration file is damaged."}}) {
        saved_files files = whole_files();
        files.configuration = condition;
        files.registry = {};
        const explain_view view = view_with(files);
        EXPECT_EQ(view.enabled, std::nullopt);
        EXPECT_EQ(view.held_on_backup, true) << "another file tells it";
        EXPECT_EQ(view.notes, lines{note});
    }
}

TEST(explain_present, leaves_the_policy_of_a_bad_file_unknown_and_says_why) {
    saved_files damaged = whole_files();
    damaged.state = file_condition::damaged;
    saved_files invalid = whole_files();
    invalid.invalid_policy = "Too short.";
    for (const auto& [files, note] :
         {std::pair{damaged, "The protection file is damaged."},
          std::pair{invalid, "The saved protection settings are not valid: Too short."}}) {
        const explain_view view = view_with(files);
        EXPECT_EQ(view.enabled, true);
        EXPECT_EQ(view.held_on_backup, std::nullopt);
        EXPECT_FALSE(view.policy);
        EXPECT_EQ(view.notes, lines{note});
    }
}
