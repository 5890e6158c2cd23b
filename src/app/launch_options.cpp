#include "app/launch_options.hpp"

#include "os/file_paths.hpp"
#include "os/process.hpp"

#include <string_view>

namespace elvantris::operator_control {
namespace {

constexpr const char* config_file_name = "operator-control.json";
constexpr const char* log_file_name = "operator-control.log";
constexpr std::string_view config_prefix = "--config=";

std::string user_folder() {
    if (const auto local = environment_variable("LOCALAPPDATA")) return *local;
    if (const auto roaming = environment_variable("APPDATA")) return *roaming;
    return user_data_folder().value_or("");
}

} // namespace

std::string default_config_path() {
    const std::string folder =
        path_inside(path_inside(user_folder(), "Tarnwell Media"), "Elvantris OperatorControl");
    create_folders(folder);
    return path_inside(folder, config_file_name);
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

std::string log_path_for(const std::string& config_path) {
    const std::string folder = parent_folder(config_path);
    return path_inside(folder.empty() ? current_folder() : folder, log_file_name);
}

} // namespace elvantris::operator_control
