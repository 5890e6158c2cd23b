#include "platform/autostart.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"
#include "os/process.hpp"
#include "platform/linux/autostart_entry.hpp"

#include <cstdlib>
#include <gtest/gtest.h>

namespace elvantris::operator_control {
namespace {

// A user with an empty home of his own.
class autostart : public testing::Test {
protected:
    autostart() {
        ::setenv("HOME", home_.path().c_str(), 1);
        ::unsetenv("XDG_CONFIG_HOME");
    }
    ~autostart() override {
        restore("HOME", old_home_);
        restore("XDG_CONFIG_HOME", old_settings_);
    }

    static void restore(const char* name, const std::optional<std::string>& value) {
        if (value)
            ::setenv(name, value->c_str(), 1);
        else
            ::unsetenv(name);
    }

    temporary_folder home_;
    std::optional<std::string> old_home_ = environment_variable("HOME");
    std::optional<std::string> old_settings_ = environment_variable("XDG_CONFIG_HOME");
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
    ::setenv("XDG_CONFIG_HOME", settings.path().c_str(), 1);
    EXPECT_EQ(autostart_entry_path(), settings.file(name));
    for (const char* const none : {"", "settings"}) {
        ::setenv("XDG_CONFIG_HOME", none, 1);
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
            ::setenv("HOME", "", 1);
        else
            ::unsetenv("HOME");
        EXPECT_EQ(autostart_entry_path(), "");
        EXPECT_FALSE(set_autostart(true));
        EXPECT_FALSE(set_autostart(false));
        EXPECT_FALSE(autostart_enabled());
    }
}

} // namespace
} // namespace elvantris::operator_control
