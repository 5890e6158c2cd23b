#pragma once

#include "tool/answer.hpp"
#include "tool/explain_rules.hpp"

#include <cstdint>

namespace elvantris::operator_control {

// Everything but "no fault" is a finding. A log that begins after the asked time gives no answer.
// Pure, but for the system's calendar.
tool_answer answer_explanation(const explanation& told, std::uint64_t damaged_lines);

} // namespace elvantris::operator_control
