#include "tool/alert_log_file.hpp"

#include "os/file_paths.hpp"
#include "protection/protection_disk.hpp"

namespace elvantris::operator_control {

std::variant<alert_log_part, std::string> open_alert_log(const std::string& config_path,
                                                         std::int64_t until) {
    const std::string path = alert_log_path_for(config_path);
    std::variant<alert_log_part, read_failure> log = read_alert_log(path, until);
    if (auto* const part = std::get_if<alert_log_part>(&log)) return std::move(*part);
    if (std::get<read_failure>(log) != read_failure::missing)
        return "The alert log can't be read: " + path +
               ". Check who may read it, and whether another program holds it.";
    if (path_exists(config_path)) return alert_log_part{};
    return "There is no configuration file at " + config_path +
           ". Give the one that the program uses with --config.";
}

} // namespace elvantris::operator_control
