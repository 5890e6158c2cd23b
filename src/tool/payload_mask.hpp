// Taking the payloads of commands out of what leaves the house: they may hold passwords. Pure.
#pragma once

#include "tool/json_tree.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Replaces the value of every key "payload", wherever it is, by words that tell its length. In a
// list of commands, also the value of every key that the program doesn't write.
void mask_payloads(json_tree& tree);

// Whether a payload can be in the text, whole JSON or not. Letters of its key can be escaped.
bool can_name_payload(std::string_view text);

// A JSON text with its payloads masked; as it came if it can't name one. Absent if it is no JSON:
// then nobody can tell where payloads begin and end.
std::optional<std::string> masked_text(std::string_view text);

} // namespace elvantris::operator_control
