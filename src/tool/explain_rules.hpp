// Explains why operation moved, or didn't. Pure, but for the system's calendar.
#pragma once

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
    unknown, // the log doesn't reach back so far
};

struct story_line {
    std::int64_t time = 0;
    std::string text;
    bool is_beginning = true; // of what the log has; otherwise its end, or commands
};

struct explanation {
    operation_outcome outcome = operation_outcome::no_fault;
    std::string summary;              // one sentence
    std::vector<std::string> reasons; // what is known, or may be, besides
    std::vector<story_line> story;    // by time
    std::vector<story_line> others;   // what else happened in the asked time
    bool older_left_out = false;      // of the log
};

explanation explain(const explain_view& view);

} // namespace elvantris::operator_control
