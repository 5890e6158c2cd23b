// Where the program's own files are. Nothing is created by asking.
#pragma once

#include <string>

namespace elvantris::operator_control {

// The configuration file of a start without a path: in the user's own data folder.
std::string default_configuration_path();

// The log file beside the configuration file; in the current folder if that one has none.
std::string log_path_for(const std::string& configuration_path);

} // namespace elvantris::operator_control
