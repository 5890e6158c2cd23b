// All that a check looks at, read before it is judged.
#pragma once

#include "tool/known_hosts.hpp"
#include "tool/program_status.hpp"
#include "tool/saved_files.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct check_view {
    std::string config_path;
    program_reply program;
    bool program_uses_it = true; // the running program, this configuration file
    saved_files files;
    missing_hosts hosts;                     // of enabled commands
    std::optional<std::uint64_t> free_bytes; // on the disk of the files
    std::vector<seen_deck> remembered_decks; // of the last good check
};

// What the program works with: its own account if it runs, else what is saved.
struct pair_setup {
    const registry_state& registry;
    const protection_policy& policy;
    bool held_on_backup;
};
inline pair_setup setup_of(const check_view& view) {
    if (const auto& status = view.program.status)
        return {status->registry, status->protection.policy, status->protection.held_on_backup};
    return {view.files.registry, view.files.protection.policy, view.files.protection.heldOnBackup};
}

} // namespace elvantris::operator_control
