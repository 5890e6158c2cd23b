// What the process knows of itself and its machine.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

// The command line as UTF-8, the program's own name first. `argc` and `argv` are those of `main`;
// a system that hands out a better command line of its own uses that. Empty if it can't be split.
std::vector<std::string> command_line_arguments(int argc, char** argv);

// Absent if the variable is not set.
std::optional<std::string> environment_variable(const std::string& name);

// A write that can't be done fails, and no more: neither a reader that went away nor a file of the
// largest size that this user may write ends the process.
void ignore_write_signals();

// Lets the process have as many files and sockets open as the system grants it, up to 4,096. What
// can't be raised stays as it is.
void raise_descriptor_limit();

// Whether the process can open so many more files and sockets. Cheap enough to ask each time; what
// other threads open meanwhile is not known.
bool descriptors_left(std::size_t count);

// The computer's short name: its first label, at most 15 characters.
std::string host_name();

// The folder in which a program keeps a user's own data when the two variables that Windows has
// for it are not set: none on Windows, the XDG data folder on Linux.
std::optional<std::string> user_data_folder();

} // namespace elvantris::operator_control
