// What else happened at the time in question. Pure.
#pragma once

#include "tool/explain_rules.hpp"

#include <vector>

namespace elvantris::operator_control {

// The transfers, blocks and faults of either server that began in the asked time and that the story
// leaves out, by time. None for a question about now.
std::vector<story_line> other_events(const explain_view& view,
                                     const std::vector<story_line>& story);

} // namespace elvantris::operator_control
