// Asking the running program for its status.
//
// Threads: any; nothing is kept between calls. Failure: a value, as any other answer.
#pragma once

#include "os/call_limits.hpp"
#include "tool/program_status.hpp"

#include <string>

namespace elvantris::operator_control {

struct asked_program {
    program_reply reply;
    bool uses_it = true; // false: a running program uses another configuration file
};

// Asks on the loopback interface. Takes at most 5 s; returns at once if nobody listens.
asked_program ask_program(const std::string& config_path, const call_limits& limits = {});

} // namespace elvantris::operator_control
