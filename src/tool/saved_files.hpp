// The program's settings as they lie on the disk.
#pragma once

#include "protection/state_file.hpp"
#include "systems/registry_state.hpp"

#include <string>

namespace elvantris::operator_control {

enum class file_condition { whole, missing, unreadable, too_large, damaged };

struct saved_files {
    file_condition configuration = file_condition::missing;
    registry_state registry; // the defaults unless the file is whole
    file_condition state = file_condition::missing;
    saved_protection protection; // the defaults, unless the file is whole and its policy valid
    std::string invalid_policy;  // what is wrong with it; empty if nothing is
};

// Reads both. Nothing is locked: the program replaces them in one step.
saved_files read_saved_files(const std::string& config_path);

} // namespace elvantris::operator_control
