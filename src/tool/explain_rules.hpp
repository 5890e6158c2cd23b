// Why operation moved, or didn't. Pure: what was read in, a story out.
#pragma once

#include "tool/answer.hpp"
#include "tool/explain_view.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace elvantris::operator_control {

enum class operation_outcome {
    no_fault, // the program saw no reason to move
    moved,
    blocked, // it should have moved, and could not
    stayed,  // a fault of Main that was no reason, or not enough
};

struct story_line {
    std::int64_t time = 0;
    std::string text;
};

struct explanation {
    operation_outcome outcome = operation_outcome::no_fault;
    std::string summary;              // one sentence
    std::vector<std::string> reasons; // what is known, or may be, besides
    std::vector<story_line> story;    // by time
};

explanation explain(const explain_view& view);

// Anything but a moment without a fault is a finding.
tool_answer answer_explanation(const explanation& told, std::uint64_t damaged_lines);

} // namespace elvantris::operator_control
