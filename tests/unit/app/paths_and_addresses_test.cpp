#include "app/ui_address.hpp"
#include "os/file_paths.hpp"
#include "systems/settings_place.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using namespace elvantris::operator_control;

namespace {

// With one kind of separator, as the two systems write them differently.
std::string with_slashes(std::string path) {
    std::ranges::replace(path, '\\', '/');
    return path;
}

} // namespace

TEST(log_path_for, stands_beside_the_configuration_file_or_in_the_current_folder) {
    const std::string here = with_slashes(current_folder());
    struct {
        std::string config_path;
        std::string log_path;
    } const cases[] = {
        {"folder/x.json", "folder/operator-control.log"},
        {"/a folder/b/x", "/a folder/b/operator-control.log"},
        {"b\xc3\xbchne/x.json", "b\xc3\xbchne/operator-control.log"},
        {"x.json", here + "/operator-control.log"},
        {"", here + "/operator-control.log"},
    };
    for (const auto& [config_path, log_path] : cases)
        EXPECT_EQ(with_slashes(log_path_for(config_path)), log_path) << config_path;
}

TEST(ui_address, asks_for_the_setup_dialog_only_when_it_is_wanted) {
    EXPECT_EQ(ui_address(5270, false), "http://127.0.0.1:5270/");
    EXPECT_EQ(ui_address(65535, true), "http://127.0.0.1:65535/?configure=1");
}
