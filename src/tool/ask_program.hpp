// Asking the running program for its status.
//
// Threads: any; nothing is kept between calls. Failure: a value, as any other answer.
#pragma once

#include "os/call_limits.hpp"
#include "tool/program_status.hpp"

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

// Where the program answers, on the loopback interface.
inline constexpr std::uint16_t program_port = 5251;

struct asked_program {
    program_reply reply;
    bool uses_it = true; // false: a running program uses another configuration file
};

// Asks on the loopback interface. Takes at most 5 s; returns at once if nobody listens.
asked_program ask_program(const std::string& config_path, const call_limits& limits = {});

} // namespace elvantris::operator_control
