#include "app/launch_options.hpp"

#include "os/file_paths.hpp"
#include "systems/settings_place.hpp"

#include <string_view>

namespace elvantris::operator_control {
namespace {

constexpr const char* config_file_name = "operator-control.json";
constexpr std::string_view config_prefix = "--config=";

} // namespace

std::string default_config_path() {
    std::string path = default_configuration_path();
    create_folders(parent_folder(path));
    return path;
}

launch_options parse_command_line(int argc, const char* const* argv) {
    launch_options options;
    options.config_path = default_config_path();
    bool path_given = false;
    const auto take_path = [&](std::string_view path) {
        options.config_path = path;
        path_given = true;
    };
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i] != nullptr ? argv[i] : "";
        if (argument == "--background") {
            options.background = true;
        } else if (argument == "--console") {
            options.console = true;
        } else if (argument == "--configure") {
            options.configure = true;
        } else if (argument == "--config" && i + 1 < argc) {
            ++i;
            take_path(argv[i] != nullptr ? argv[i] : "");
        } else if (argument.starts_with(config_prefix)) {
            take_path(argument.substr(config_prefix.size()));
        } else if (!argument.empty() && argument.front() != '-' && !path_given) {
            take_path(argument);
        }
    }
    if (!path_given) migrate_local_config(options.config_path);
    return options;
}

void migrate_local_config(const std::string& path) {
    if (path_exists(path) || !path_exists(config_file_name)) return;
    create_folders(parent_folder(path));
    copy_file_over(config_file_name, path);
}

} // namespace elvantris::operator_control
