// The command line, and where the program's files live.
#pragma once

#include <string>

namespace elvantris::operator_control {

struct launch_options {
    std::string config_path;
    bool background = false; // no browser at start
    bool console = false;    // write to the console and not to the log file
    bool configure = false;  // open the page at its setup dialog
};

// Never fails and prints nothing: what it doesn't know, it ignores. Creates the default folder.
launch_options parse_command_line(int argc, const char* const* argv);

// The file in the user's own data folder, which is created on the way.
std::string default_config_path();

// Copies a configuration file from the current folder to `path` if nothing is there yet.
void migrate_local_config(const std::string& path);

} // namespace elvantris::operator_control
