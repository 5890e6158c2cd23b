#include "tool/check_report.hpp"

#include "tool/check_rules.hpp"

namespace elvantris::operator_control {

namespace {

json_tree tree_of_findings(const findings& found) {
    json_tree tree = json_tree::array();
    for (const finding& each : found)
        tree.push_back({{"id", each.id}, {"sentence", each.sentence}, {"advice", each.advice}});
    return tree;
}

std::string told_with(const std::string& beginning, const findings& found) {
    std::string text;
    for (const finding& each : found)
        text += beginning + each.sentence + ' ' + each.advice + '\n';
    return text;
}

} // namespace

tool_answer answer_check(const findings& found, const protection_policy& policy,
                         const findings& notes) {
    const bool ready = found.empty();
    return {.exit = ready ? tool_exit::all_well : tool_exit::findings,
            .text = (ready ? "READY\n" : "NOT READY\n") + told_with("- ", found) +
                    told_with("Note: ", notes),
            .tree = {{"ready", ready},
                     {"findings", tree_of_findings(found)},
                     {"notes", tree_of_findings(notes)},
                     {"longestSequenceMs",
                      {{"backup", longest_sequence(policy, "backup").count()},
                       {"main", longest_sequence(policy, "main").count()}}}}};
}

} // namespace elvantris::operator_control
