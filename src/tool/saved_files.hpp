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

// Whether the pair is known, and whether the policy and the hold are. Without its protection file
// the program has the defaults; in place of a bad file they would be a guess.
inline bool knows_pair(const saved_files& files) {
    return files.configuration == file_condition::whole;
}
inline bool knows_protection(const saved_files& files) {
    return (files.state == file_condition::whole || files.state == file_condition::missing) &&
           files.invalid_policy.empty();
}

// Reads both. Nothing is locked: the program replaces them in one step.
saved_files read_saved_files(const std::string& config_path);

} // namespace elvantris::operator_control
