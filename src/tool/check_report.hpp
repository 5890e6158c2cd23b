#pragma once

#include "protection/policy.hpp"
#include "tool/finding.hpp"

namespace elvantris::operator_control {

// "READY", or each finding with what to do. With notes alone it is still "READY". Pure.
tool_answer answer_check(const findings& found, const protection_policy& policy,
                         const findings& notes = {});

} // namespace elvantris::operator_control
