#include "systems/settings_place.hpp"

#include "os/file_paths.hpp"
#include "os/process.hpp"

namespace elvantris::operator_control {
namespace {

std::string user_folder() {
    if (const auto local = environment_variable("LOCALAPPDATA")) return *local;
    if (const auto roaming = environment_variable("APPDATA")) return *roaming;
    return user_data_folder().value_or("");
}

} // namespace

std::string default_configuration_path() {
    const std::string folder =
        path_inside(path_inside(user_folder(), "Tarnwell Media"), "Elvantris OperatorControl");
    return path_inside(folder, "operator-control.json");
}

std::string log_path_for(const std::string& configuration_path) {
    const std::string folder = parent_folder(configuration_path);
    return path_inside(folder.empty() ? current_folder() : folder, "operator-control.log");
}

} // namespace elvantris::operator_control
