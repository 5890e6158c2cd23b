// The state of the systems in the log, written only when it has changed.
#pragma once

#include "systems/controller_registry.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

struct status_view {
    bool enabled = false;
    std::string active_role;
    std::vector<system_record> systems;
};

// What counts as a change: everything shown in the lines; replication is not. Pure.
std::string status_signature(const status_view& view);

// The lines, without their ends. Pure.
std::vector<std::string> status_lines(const status_view& view);

// Writes the lines to standard output unless their signature is the last one, and keeps it there.
void write_status(const controller_registry& registry, std::string& last_signature);

} // namespace elvantris::operator_control
