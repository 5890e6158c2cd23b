// Other processes of this computer: what runs there, and what they hold.
//
// Threads: any. Each call looks again.
// Failure: what the system doesn't tell this user is empty or left out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

using process_number = std::uint32_t;

struct running_program {
    process_number process = 0; // 0: the system doesn't say which
    std::string name = {};      // of its file, without ".exe"
    std::string path = {};      // of its file
    bool replaced = false;      // the file was replaced or removed after the start
};

running_program describe_process(process_number process);
running_program describe_this_process();

// Who has this file open. Absent on a system that doesn't tell.
std::optional<std::vector<running_program>> programs_holding(const std::string& path);

} // namespace elvantris::operator_control
