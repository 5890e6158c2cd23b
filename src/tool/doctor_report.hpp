#pragma once

#include "tool/doctor_view.hpp"
#include "tool/finding.hpp"

namespace elvantris::operator_control {

// "HEALTHY", or each finding with what to do; then what was seen. Notes keep no workstation from
// being healthy. Pure.
tool_answer answer_doctor(const doctor_view& view, const findings& found, const findings& notes);

} // namespace elvantris::operator_control
