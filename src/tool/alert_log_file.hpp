// The alert log of this workstation, or the sentence that says why it can't be read.
//
// Threads: any. Failure: the sentence.
#pragma once

#include "tool/alert_log_reader.hpp"

#include <cstdint>
#include <string>
#include <variant>

namespace elvantris::operator_control {

// The log beside the configuration file. A log that isn't there yet is empty: nothing has happened.
// Without a configuration file this is the wrong folder.
std::variant<alert_log_part, std::string> open_alert_log(const std::string& config_path,
                                                         std::int64_t until);

} // namespace elvantris::operator_control
