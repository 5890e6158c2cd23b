#pragma once

#include "tool/answer.hpp"

#include <ostream>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Names and messages come from servers and devices: they must not control the terminal. Control
// characters other than line ends and tabs become a question mark.
std::string for_terminal(std::string_view text);

// Writes the answer where it belongs: the reason for having none to `errors`, all else to `output`,
// the remarks beside a table to `errors` again. The result is the exit code; an answer that could
// not be written is none.
tool_exit write_answer(const tool_answer& answer, bool as_json, std::ostream& output,
                       std::ostream& errors);

} // namespace elvantris::operator_control
