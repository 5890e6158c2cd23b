// Findings as lines for a person and as a tree for a program. Pure.
#pragma once

#include "tool/finding.hpp"

#include <string>

namespace elvantris::operator_control {

// A line each: `beginning`, the sentence, what to do.
std::string told_with(const std::string& beginning, const findings& found);

json_tree tree_of_findings(const findings& found);

} // namespace elvantris::operator_control
