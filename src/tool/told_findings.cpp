#include "tool/told_findings.hpp"

namespace elvantris::operator_control {

std::string told_with(const std::string& beginning, const findings& found) {
    std::string text;
    for (const finding& each : found)
        text += beginning + each.sentence + ' ' + each.advice + '\n';
    return text;
}

json_tree tree_of_findings(const findings& found) {
    json_tree tree = json_tree::array();
    for (const finding& each : found)
        tree.push_back({{"id", each.id}, {"sentence", each.sentence}, {"advice", each.advice}});
    return tree;
}

} // namespace elvantris::operator_control
