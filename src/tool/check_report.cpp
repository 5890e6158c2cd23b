#include "tool/check_report.hpp"

#include "tool/check_rules.hpp"
#include "tool/told_findings.hpp"

namespace elvantris::operator_control {

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
