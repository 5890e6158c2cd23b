#include "tool/saved_files.hpp"

#include "json/field_scanner.hpp"
#include "os/files.hpp"
#include "os/settings_file.hpp"
#include "protection/protection_disk.hpp"

#include <optional>

namespace elvantris::operator_control {
namespace {

struct settings_text {
    file_condition condition = file_condition::whole;
    std::string text; // of a whole file
};

file_condition condition_after(read_failure failure) {
    switch (failure) {
    case read_failure::missing:
        return file_condition::missing;
    case read_failure::too_large:
        return file_condition::too_large;
    case read_failure::unreadable:
        break;
    }
    return file_condition::unreadable;
}

settings_text read_settings(const std::string& path, bool (*is_whole)(std::string_view text)) {
    read_failure failure{};
    std::optional<std::string> text = read_whole_file(path, largest_settings_file, &failure);
    if (!text) return {.condition = condition_after(failure), .text = {}};
    if (!is_whole(*text)) return {.condition = file_condition::damaged, .text = {}};
    return {.condition = file_condition::whole, .text = std::move(*text)};
}

} // namespace

saved_files read_saved_files(const std::string& config_path) {
    saved_files files;
    const settings_text configuration = read_settings(config_path, json_is_whole_object);
    files.configuration = configuration.condition;
    if (configuration.condition == file_condition::whole)
        read_registry_json(configuration.text, files.registry);
    const settings_text state = read_settings(state_path_for(config_path), is_whole_protection);
    files.state = state.condition;
    if (state.condition == file_condition::whole)
        read_saved_protection(state.text, files.protection, files.invalid_policy);
    return files;
}

} // namespace elvantris::operator_control
