#pragma once

#include <optional>
#include <string>

namespace elvantris::operator_control {

// The bytes that a standard Base64 text stands for, in the storage of the text itself. White space
// counts for nothing wherever it stands; bits left over in a padded last group are not looked at.
// Absent for anything else: a foreign byte, a length that isn't made of groups of four, padding in
// the wrong place. Pure; one pass over the text, and no memory beside it.
std::optional<std::string> decode_base64(std::string text);

} // namespace elvantris::operator_control
