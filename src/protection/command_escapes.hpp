#pragma once

#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Turns a command as the operator typed it into the bytes to send: \\ \n \r \t \xHH, all else
// unchanged. False at the first fault, or if fewer than 1 or more than 16384 bytes result; `error`
// then holds the sentence for the operator. Pure.
bool decode_command_escapes(std::string_view payload, std::string& bytes, std::string& error);

} // namespace elvantris::operator_control
