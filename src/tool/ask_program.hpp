// Asking the running program for its status.
//
// Threads: any; nothing is kept between calls. Failure: a value, as any other answer.
#pragma once

#include "tool/program_status.hpp"

#include <string>

namespace elvantris::operator_control {

struct asked_program {
    program_reply reply;
    bool uses_it = true; // this configuration file; false only of a running program
};

// Asks on the loopback interface. At most 5 s, unless nobody is there.
asked_program ask_program(const std::string& config_path);

} // namespace elvantris::operator_control
