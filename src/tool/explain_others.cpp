#include "tool/explain_others.hpp"

#include "tool/log_events.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

bool concerns_operation(const history_entry& entry) {
    return is_transfer(entry) || entry.kind == history_kind::blocked || is_of_main(entry) ||
           is_of_backup(entry);
}

} // namespace

std::vector<story_line> other_events(const explain_view& view,
                                     const std::vector<story_line>& story) {
    std::vector<story_line> others;
    if (view.about_now) return others;
    for (const history_entry& entry : view.history) {
        const bool asked = entry.begun >= view.asked.first && entry.begun <= view.asked.last;
        const bool told = std::ranges::any_of(story, [&](const story_line& line) {
            return line.is_beginning && line.time == entry.begun;
        });
        if (asked && !told && concerns_operation(entry))
            others.push_back({.time = entry.begun, .text = entry.message});
    }
    return others;
}

} // namespace elvantris::operator_control
