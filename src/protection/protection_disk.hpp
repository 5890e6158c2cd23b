#pragma once

#include "protection/alert_log.hpp"
#include "protection/state_file.hpp"

#include <functional>
#include <string>

namespace elvantris::operator_control {

// The files of protection that belong to a configuration file.
std::string state_path_for(const std::string& configuration_path);
std::string alert_log_path_for(const std::string& configuration_path);

// What protection needs from the disk. The program uses its files; a test can use functions of its
// own.
//
// Threads: one at a time. Failure: as in `state_file` and `alert_log`; nothing is thrown.
struct protection_disk {
    std::function<void(saved_protection& saved, std::string& error)> load;
    std::function<bool(const saved_protection& saved)> save;
    line_writer append; // to the alert log
};

// The state file and the alert log that belong to a configuration file. `given_up` ends the wait
// for a state file that can't be read.
protection_disk files_beside(const std::string& configuration_path,
                             std::function<bool()> given_up = {});

} // namespace elvantris::operator_control
