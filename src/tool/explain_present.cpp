#include "tool/explain_present.hpp"

#include "tool/saved_file_rules.hpp"

namespace elvantris::operator_control {

void take_from_program(explain_view& view, const program_status& status) {
    mark_lasting(view.history, status.protection);
    view.enabled = status.registry.enabled;
    view.held_on_backup = status.protection.held_on_backup;
    view.policy = status.protection.policy;
}

void take_from_files(explain_view& view, const saved_files& files, const std::string& config_path) {
    if (knows_pair(files)) view.enabled = files.registry.enabled;
    if (knows_protection(files)) {
        view.held_on_backup = files.protection.heldOnBackup;
        view.policy = files.protection.policy;
    }
    for (const finding& each : examine_saved_files(files, config_path))
        view.notes.push_back(each.sentence);
}

} // namespace elvantris::operator_control
