#pragma once

#include "protection/policy.hpp"
#include "tool/finding.hpp"

namespace elvantris::operator_control {

// "READY" alone, or each finding with what to do. Pure.
tool_answer answer_check(const findings& found, const protection_policy& policy);

} // namespace elvantris::operator_control
