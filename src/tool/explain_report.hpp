#pragma once

#include "tool/answer.hpp"
#include "tool/explain_rules.hpp"

#include <cstdint>

namespace elvantris::operator_control {

// Anything but a moment without a fault is a finding; a log that doesn't reach back to the question
// is no answer. Pure, but for the system's calendar.
tool_answer answer_explanation(const explanation& told, std::uint64_t damaged_lines);

} // namespace elvantris::operator_control
