#include "tool/saved_file_rules.hpp"

namespace elvantris::operator_control {
namespace {

finding bad_file(file_condition condition, const std::string& what, const std::string& id) {
    if (condition == file_condition::too_large)
        return {.id = id,
                .sentence = "The " + what + " is too large: the program writes no such file.",
                .advice = "Put a copy of it back while the program is not running."};
    if (condition == file_condition::damaged)
        return {.id = id,
                .sentence = "The " + what + " is damaged.",
                .advice = "Put a copy of it back while the program is not running."};
    return {.id = id,
            .sentence = "The " + what + " can't be read.",
            .advice = "Check who may read it, and whether another program holds it."};
}

bool is_bad(file_condition condition) {
    return condition != file_condition::whole && condition != file_condition::missing;
}

} // namespace

findings examine_saved_files(const saved_files& files, const std::string& config_path) {
    findings found;
    if (files.configuration == file_condition::missing)
        found.push_back({.id = "configuration",
                         .sentence = "There is no configuration file at " + config_path + '.',
                         .advice = "Start the program once, or name its file with --config."});
    if (is_bad(files.configuration))
        found.push_back(bad_file(files.configuration, "configuration file", "configuration"));
    if (is_bad(files.state))
        found.push_back(bad_file(files.state, "protection file", "protection-file"));
    if (!files.invalid_policy.empty())
        found.push_back(
            {.id = "protection-file",
             .sentence = "The saved protection settings are not valid: " + files.invalid_policy,
             .advice = "Open Health & Alerts and save the right ones."});
    return found;
}

} // namespace elvantris::operator_control
