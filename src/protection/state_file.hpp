// The one file that lets a hold survive a restart.
#pragma once

#include "protection/policy.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// What must be remembered across a restart.
struct protection_memory {
    protection_policy policy;
    bool heldOnBackup = false; // operation was moved to Backup and not yet returned
    std::string pairMain;      // the serials of the pair for which the hold counts
    std::string pairBackup;
};

// The file's text: one line without a line end. Pure.
std::string write_memory(const protection_memory& memory);

// False if the policy in the text breaks a rule; `error` then names it and `memory` is untouched.
// Pure.
bool read_memory(std::string_view text, protection_memory& memory, std::string& error);

// Absent if there is no such file, or it can't be read.
std::optional<std::string> load_memory_text(const std::string& path);

// Replaces the file in one step. True only when the new content is on the disk; a failure leaves
// the old file whole, and perhaps a temporary file that the next save overwrites.
bool save_memory(const std::string& path, const protection_memory& memory);

} // namespace elvantris::operator_control
