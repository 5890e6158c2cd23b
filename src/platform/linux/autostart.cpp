#include "platform/autostart.hpp"

#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/process.hpp"
#include "platform/linux/autostart_entry.hpp"

#include <filesystem>
#include <string_view>
#include <system_error>

namespace elvantris::operator_control {
namespace {

// Quoted for the entry's command line, and that once more for the entry's own text.
std::string quoted_path(std::string_view path) {
    std::string text = "\"";
    for (const char character : path) {
        if (character == '\\') {
            text += R"(\\\\)";
        } else if (std::string_view("\"`$").find(character) != std::string_view::npos) {
            text.append(R"(\\)").append(1, character);
        } else {
            text.append(character == '%' ? 2 : 1, character);
        }
    }
    return text + '"';
}

} // namespace

std::string autostart_entry(const std::string& path) {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Elvantris Redundancy Control\n"
           "Icon=elvantris-redundancy-control\n"
           "Exec=" +
           quoted_path(path) + " --background\n";
}

std::string autostart_entry_path() {
    std::string settings = environment_variable("XDG_CONFIG_HOME").value_or("");
    // A relative path counts as none.
    if (!settings.starts_with('/')) {
        const std::string home = environment_variable("HOME").value_or("");
        if (home.empty()) return {};
        settings = path_inside(home, ".config");
    }
    return path_inside(path_inside(settings, "autostart"), "elvantris-redundancy-control.desktop");
}

bool autostart_enabled() {
    const std::string entry = autostart_entry_path();
    return !entry.empty() && path_exists(entry);
}

bool set_autostart(bool value) {
    const std::string entry = autostart_entry_path();
    if (entry.empty()) return false;
    if (!value) {
        remove_file(entry);
        return !path_exists(entry);
    }
    std::error_code failure;
    const std::string program = std::filesystem::read_symlink("/proc/self/exe", failure).string();
    create_folders(parent_folder(entry));
    return !failure && write_whole_file(entry, autostart_entry(program)) == write_outcome::written;
}

} // namespace elvantris::operator_control
