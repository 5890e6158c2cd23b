#pragma once

#include "protection/policy.hpp"
#include "tool/finding.hpp"

namespace elvantris::operator_control {

// "READY", or each finding with what to do. Notes keep no pair from being ready. Pure.
tool_answer answer_check(const findings& found, const protection_policy& policy,
                         const findings& notes = {});

} // namespace elvantris::operator_control
