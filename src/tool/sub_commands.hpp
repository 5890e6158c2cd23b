// What the tool can be asked. A new question is one file of its own, and here one line and one row.
#pragma once

#include "tool/answer.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <span>
#include <string>

namespace elvantris::operator_control {

// What every sub-command is told.
struct common_options {
    std::string config_path;     // of the configuration file, beside which the others are
    bool writes_nothing = false; // it is asked for its answer alone
};

// Looks and answers. What it can't read is an answer too; only the allocator may throw.
using command_run = std::function<tool_answer(const common_options&)>;

struct sub_command {
    std::string name;
    std::string summary; // one line of the list
    std::string details; // what its help says below the options
    // Adds its own options to the parser. What it gives runs when they have been read.
    command_run (*prepare)(CLI::App& parser);
};

sub_command check_command();
sub_command doctor_command();
sub_command timeline_command();
sub_command explain_command();
sub_command metrics_command();
sub_command bundle_command();

// All of them, in the order of the help.
std::span<const sub_command> sub_commands();

} // namespace elvantris::operator_control
