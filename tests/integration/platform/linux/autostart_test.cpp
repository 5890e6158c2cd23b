#include "platform/autostart.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"
#include "platform/linux/autostart_entry.hpp"

#include <gtest/gtest.h>

namespace elvantris::operator_control {
namespace {

// A user with an empty home of his own.
class autostart : public testing::Test {
protected:
    autostart() {
        home_variable_.set(home_.path());
        settings_variable_.clear();
    }

    temporary_folder home_;
    variable home_variable_{"HOME"};
    variable settings_variable_{"XDG_CONFIG_HOME"};
};

TEST_F(autostart, is_switched_on_and_off_by_an_entry_in_a_folder_that_is_made) {
    EXPECT_FALSE(autostart_enabled());
    EXPECT_TRUE(set_autostart(true));
    EXPECT_TRUE(autostart_enabled());
    const std::string entry = home_.file(".config/autostart/elvantris-redundancy-control.desktop");
    const auto text = read_whole_file(entry, 4096);
    ASSERT_TRUE(text);
    EXPECT_NE(text->find("integration_tests\" --background\n"), std::string::npos) << *text;
    EXPECT_TRUE(set_autostart(true));
    EXPECT_TRUE(set_autostart(false));
    EXPECT_FALSE(autostart_enabled());
    EXPECT_FALSE(path_exists(entry));
}

TEST_F(autostart, counts_an_entry_that_does_not_exist_as_removed) {
    EXPECT_TRUE(set_autostart(false));
    EXPECT_FALSE(autostart_enabled());
}

TEST_F(autostart, honours_the_users_folder_of_settings_if_its_path_is_whole) {
    const temporary_folder settings;
    const std::string name = "autostart/elvantris-redundancy-control.desktop";
    settings_variable_.set(settings.path());
    EXPECT_EQ(autostart_entry_path(), settings.file(name));
    for (const char* const none : {"", "settings"}) {
        settings_variable_.set(none);
        EXPECT_EQ(autostart_entry_path(), home_.file(".config/" + name));
    }
}

// As a folder that may not be written; what may stop an ordinary user does not stop root.
TEST_F(autostart, tells_that_the_entry_could_not_be_written) {
    ASSERT_EQ(write_whole_file(home_.file(".config"), "in the way"), write_outcome::written);
    EXPECT_FALSE(set_autostart(true));
    EXPECT_FALSE(autostart_enabled());
}

TEST_F(autostart, tells_that_a_user_without_a_home_has_none) {
    for (const bool set : {true, false}) {
        if (set)
            home_variable_.set("");
        else
            home_variable_.clear();
        EXPECT_EQ(autostart_entry_path(), "");
        EXPECT_FALSE(set_autostart(true));
        EXPECT_FALSE(set_autostart(false));
        EXPECT_FALSE(autostart_enabled());
    }
}

} // namespace
} // namespace elvantris::operator_control
