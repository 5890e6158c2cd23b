#include "tool/explain_report.hpp"

#include "tool/local_time.hpp"

namespace elvantris::operator_control {
namespace {

const char* outcome_word(operation_outcome outcome) {
    switch (outcome) {
    case operation_outcome::no_fault:
        return "noFault";
    case operation_outcome::moved:
        return "moved";
    case operation_outcome::blocked:
        return "blocked";
    case operation_outcome::stayed:
        return "stayed";
    case operation_outcome::unknown:
        return "unknown";
    }
    return "";
}

std::string lines_of(const explanation& told) {
    std::string text = told.summary + '\n';
    for (const std::string& reason : told.reasons)
        text += "- " + reason + '\n';
    std::string day;
    for (const story_line& line : told.story) {
        if (const std::string date = local_date(line.time); date != day) {
            text += date + '\n';
            day = date;
        }
        text += local_clock(line.time) + "  " + line.text + '\n';
    }
    return text;
}

tool_exit exit_for(operation_outcome outcome) {
    if (outcome == operation_outcome::unknown) return tool_exit::could_not_look;
    return outcome == operation_outcome::no_fault ? tool_exit::all_well : tool_exit::findings;
}

} // namespace

tool_answer answer_explanation(const explanation& told, std::uint64_t damaged_lines) {
    tool_answer answer{.exit = exit_for(told.outcome),
                       .text = lines_of(told),
                       .tree = {{"outcome", outcome_word(told.outcome)},
                                {"summary", told.summary},
                                {"reasons", told.reasons},
                                {"story", json_tree::array()},
                                {"damagedLines", damaged_lines},
                                {"olderLeftOut", told.older_left_out}}};
    for (const story_line& line : told.story)
        answer.tree["story"].push_back(
            {{"time", line.time}, {"timeLocal", local_moment(line.time)}, {"text", line.text}});
    if (damaged_lines > 0)
        answer.text +=
            "Damaged lines of the log, left out: " + std::to_string(damaged_lines) + '\n';
    return answer;
}

} // namespace elvantris::operator_control
