#include "tool/explain_report.hpp"

#include "tool/local_time.hpp"

#include <algorithm>
#include <span>

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

// More than that is a question for the timeline.
constexpr std::size_t most_others = 10;

std::string lines_of(std::span<const story_line> story) {
    std::string text;
    std::string day;
    for (const story_line& line : story) {
        if (const std::string date = local_date(line.time); date != day) {
            text += date + '\n';
            day = date;
        }
        text += local_clock(line.time) + "  " + line.text + '\n';
    }
    return text;
}

std::string lines_of(const explanation& told) {
    std::string text = told.summary + '\n';
    for (const std::string& reason : told.reasons)
        text += "- " + reason + '\n';
    text += lines_of(std::span(told.story));
    if (told.others.empty()) return text;
    const std::size_t shown = std::min(told.others.size(), most_others);
    text += "Also in that time:\n" + lines_of(std::span(told.others).first(shown));
    if (shown < told.others.size())
        text += "and " + std::to_string(told.others.size() - shown) +
                " more: timeline lists them all.\n";
    return text;
}

json_tree tree_of(const std::vector<story_line>& story) {
    json_tree tree = json_tree::array();
    for (const story_line& line : story)
        tree.push_back(
            {{"time", line.time}, {"timeLocal", local_moment(line.time)}, {"text", line.text}});
    return tree;
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
                                {"story", tree_of(told.story)},
                                {"others", tree_of(told.others)},
                                {"damagedLines", damaged_lines},
                                {"olderLeftOut", told.older_left_out}}};
    if (damaged_lines > 0)
        answer.text +=
            "Damaged lines of the log, left out: " + std::to_string(damaged_lines) + '\n';
    return answer;
}

} // namespace elvantris::operator_control
