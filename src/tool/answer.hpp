// What a sub-command answers: the same for a person and for a program.
#pragma once

#include "tool/json_tree.hpp"

#include <string>
#include <string_view>

namespace elvantris::operator_control {

enum class tool_exit { all_well = 0, findings = 1, could_not_look = 2 };

struct tool_answer {
    tool_exit exit = tool_exit::all_well;
    std::string text; // whole lines
    json_tree tree;
    std::string remarks = {}; // beside a table, which has no place for them
};

// One plain sentence instead of an answer.
tool_answer could_not_look(std::string_view sentence);

} // namespace elvantris::operator_control
