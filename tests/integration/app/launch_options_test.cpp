#include "app/launch_options.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/process.hpp"

#include <gtest/gtest.h>

#include <filesystem>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 1'000'000;

std::string default_path_under(const std::string& folder) {
    const std::string maker = path_inside(folder, "Tarnwell Media");
    return path_inside(path_inside(maker, "Elvantris OperatorControl"), "operator-control.json");
}

void put(const std::string& path, std::string_view content) {
    ASSERT_EQ(write_whole_file(path, content), write_outcome::written);
}

// The program starts in an empty folder, with an empty user folder.
class launch_options_test : public testing::Test {
protected:
    launch_options_test() {
        std::filesystem::current_path(current_.path());
        local_.set(user_.path());
    }
    ~launch_options_test() override { std::filesystem::current_path(before_); }

    static launch_options start_with(std::vector<const char*> arguments) {
        arguments.insert(arguments.begin(), "program");
        return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
    }

    std::string default_path() const { return default_path_under(user_.path()); }
    std::string old_path() const { return current_.file("operator-control.json"); }

    const std::filesystem::path before_ = std::filesystem::current_path();
    temporary_folder user_;
    temporary_folder current_;
    variable local_{"LOCALAPPDATA"};
    variable roaming_{"APPDATA"};
    variable xdg_{"XDG_DATA_HOME"};
    variable home_{"HOME"};
};

} // namespace

TEST_F(launch_options_test, without_arguments_are_the_defaults_and_the_folder_is_made) {
    const launch_options options = start_with({});
    EXPECT_EQ(options.config_path, default_path());
    EXPECT_FALSE(options.background);
    EXPECT_FALSE(options.console);
    EXPECT_FALSE(options.configure);
    EXPECT_TRUE(path_exists(parent_folder(default_path())));
    EXPECT_FALSE(path_exists(default_path()));
    EXPECT_EQ(parse_command_line(0, nullptr).config_path, default_path());
}

TEST_F(launch_options_test, take_the_path_by_fixed_rules) {
    const std::string otherwise = default_path();
    const struct {
        std::vector<const char*> arguments;
        std::string path;
    } cases[] = {
        {{"x"}, "x"},
        {{"--config", "a.json"}, "a.json"},
        {{"--config=a.json"}, "a.json"},
        {{"--config=a=b c.json"}, "a=b c.json"},
        {{"--config="}, ""},
        {{"--config=", "x"}, ""},
        {{"--config", ""}, ""},
        {{"--config", nullptr}, ""},
        {{"--config", "", "x"}, ""},
        {{"--config", "--console"}, "--console"},
        {{"--config", "--config", "b.json"}, "--config"},
        {{"--config", "--config"}, "--config"},
        {{"--config", "-x"}, "-x"},
        {{"--config"}, otherwise},
        {{"x", "--config"}, "x"},
        {{"--config", "a.json", "--config", "b.json"}, "b.json"},
        {{"--config=a.json", "--config=b.json"}, "b.json"},
        {{"--config", "a.json", "--config"}, "a.json"},
        {{"a.json", "b.json"}, "a.json"},
        {{"a.json", "--config", "b.json"}, "b.json"},
        {{"a.json", "--config=b.json"}, "b.json"},
        {{"--config", "b.json", "a.json"}, "b.json"},
        {{"-x"}, otherwise},
        {{"-"}, otherwise},
        {{"--config x"}, otherwise},
        {{"--Config=x"}, otherwise},
        {{"--configuration"}, otherwise},
        {{""}, otherwise},
        {{nullptr}, otherwise},
        {{"", "x"}, "x"},
        {{"--background", "x", "--console"}, "x"},
        {{"B\xc3\xbchne/x.json"}, "B\xc3\xbchne/x.json"},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(start_with(cases[i].arguments).config_path, cases[i].path) << i;
}

TEST_F(launch_options_test, take_the_switches_as_whole_words_in_their_exact_case) {
    const struct {
        std::vector<const char*> arguments;
        bool background;
        bool console;
        bool configure;
    } cases[] = {
        {{"--background"}, true, false, false},
        {{"--console"}, false, true, false},
        {{"--configure"}, false, false, true},
        {{"--configure", "--console", "--background", "--console"}, true, true, true},
        {{"x", "--background"}, true, false, false},
        {{"--Background", "--CONSOLE", "-configure", "--background=1", "--consol"},
         false,
         false,
         false},
        {{"--config", "--background"}, false, false, false},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const launch_options options = start_with(cases[i].arguments);
        EXPECT_EQ(options.background, cases[i].background) << i;
        EXPECT_EQ(options.console, cases[i].console) << i;
        EXPECT_EQ(options.configure, cases[i].configure) << i;
    }
}

TEST_F(launch_options_test, make_the_default_folder_for_another_path_too) {
    start_with({"--config", "x.json"});
    EXPECT_TRUE(path_exists(parent_folder(default_path())));
    EXPECT_FALSE(path_exists("x.json"));
}

TEST_F(launch_options_test, bring_an_old_file_to_the_default_place_once) {
    put(old_path(), "old");
    start_with({});
    EXPECT_EQ(read_whole_file(default_path(), ample), "old");
    EXPECT_EQ(read_whole_file(old_path(), ample), "old");

    put(default_path(), "new");
    put(old_path(), "older");
    start_with({});
    EXPECT_EQ(read_whole_file(default_path(), ample), "new");
    EXPECT_EQ(read_whole_file(old_path(), ample), "older");
}

TEST_F(launch_options_test, bring_the_old_file_unless_a_path_is_given) {
    const struct {
        std::vector<const char*> arguments;
        bool brought;
    } cases[] = {
        {{"--background"}, true},
        {{"--config"}, true},
        {{"-x"}, true},
        {{""}, true},
        {{"--config", "none.json"}, false},
        {{"--config="}, false},
        {{"none.json"}, false},
        {{"--config=none.json", "--console"}, false},
    };
    put(old_path(), "old");
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        start_with(cases[i].arguments);
        EXPECT_EQ(path_exists(default_path()), cases[i].brought) << i;
        EXPECT_FALSE(path_exists("none.json")) << i;
        remove_file(default_path());
    }
}

TEST_F(launch_options_test, leave_a_folder_in_the_default_place_alone) {
    put(old_path(), "old");
    ASSERT_TRUE(create_folders(default_path()));
    start_with({});
    EXPECT_TRUE(std::filesystem::is_directory(default_path()));
    EXPECT_TRUE(std::filesystem::is_empty(default_path()));
}

TEST_F(launch_options_test, bring_nothing_where_the_old_name_is_missing_or_a_folder) {
    start_with({});
    EXPECT_FALSE(path_exists(default_path()));
    ASSERT_TRUE(create_folders(path_inside(old_path(), "inner")));
    start_with({});
    EXPECT_FALSE(std::filesystem::is_regular_file(default_path()));
}

TEST_F(launch_options_test, take_the_user_folder_from_the_first_variable_that_is_set) {
    const std::string second = current_.file("roaming");
    roaming_.set(second);
    EXPECT_EQ(default_config_path(), default_path());
    EXPECT_FALSE(path_exists(second));

    local_.clear();
    EXPECT_EQ(default_config_path(), default_path_under(second));
    EXPECT_TRUE(path_exists(parent_folder(default_path_under(second))));
}

TEST_F(launch_options_test, fall_back_to_the_systems_own_folder_and_then_to_the_current_one) {
    local_.clear();
    roaming_.clear();
    xdg_.set(user_.path());
    EXPECT_EQ(default_config_path(), default_path_under(user_data_folder().value_or("")));

    xdg_.set("");
    home_.set("");
    EXPECT_EQ(default_config_path(), default_path_under(""));
    EXPECT_TRUE(path_exists(current_.file("Tarnwell Media")));
}

TEST_F(launch_options_test, are_taken_although_the_default_folder_cannot_be_made) {
    put(current_.file("file"), "");
    local_.set(current_.file("file"));
    put(old_path(), "old");
    EXPECT_EQ(start_with({}).config_path, default_path_under(current_.file("file")));
    EXPECT_FALSE(path_exists(default_path_under(current_.file("file"))));
}

TEST_F(launch_options_test, migrate_local_config_makes_the_folder_of_the_new_place) {
    put(old_path(), "old");
    const std::string target = current_.file("one/two/x.json");
    migrate_local_config(target);
    EXPECT_EQ(read_whole_file(target, ample), "old");
    migrate_local_config("");
    EXPECT_EQ(read_whole_file(old_path(), ample), "old");
}
