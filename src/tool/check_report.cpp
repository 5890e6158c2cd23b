#include "tool/check_report.hpp"

#include "tool/check_rules.hpp"

namespace elvantris::operator_control {

tool_answer answer_check(const findings& found, const protection_policy& policy) {
    const bool ready = found.empty();
    tool_answer answer{.exit = ready ? tool_exit::all_well : tool_exit::findings,
                       .text = ready ? "READY\n" : "NOT READY\n",
                       .tree = {{"ready", ready},
                                {"findings", json_tree::array()},
                                {"longestSequenceMs",
                                 {{"backup", longest_sequence(policy, "backup").count()},
                                  {"main", longest_sequence(policy, "main").count()}}}}};
    for (const finding& each : found) {
        answer.text += "- " + each.sentence + ' ' + each.advice + '\n';
        answer.tree["findings"].push_back(
            {{"id", each.id}, {"sentence", each.sentence}, {"advice", each.advice}});
    }
    return answer;
}

} // namespace elvantris::operator_control
