#pragma once

#include <string>

namespace elvantris::operator_control {

// The desktop entry that starts the program file at `path` with the session. Pure.
std::string autostart_entry(const std::string& path);

// Where that entry stands for this user; empty if the user has no home.
std::string autostart_entry_path();

} // namespace elvantris::operator_control
