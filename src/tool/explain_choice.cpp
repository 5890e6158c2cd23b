#include "tool/explain_choice.hpp"

#include "tool/log_events.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::int64_t long_ago_ms = 600'000;

// Most important first.
enum class weight { transfer, block, failover_fault, alert_only_fault };

bool is_event(const history_entry& entry) {
    return is_transfer(entry) || entry.kind == history_kind::blocked || is_of_main(entry);
}

weight weight_of(const history_entry& event, const std::optional<protection_policy>& policy) {
    if (is_transfer(event)) return weight::transfer;
    if (event.kind == history_kind::blocked) return weight::block;
    return only_alerts(event, policy) ? weight::alert_only_fault : weight::failover_fault;
}

bool answers_better(const history_entry& next, const history_entry& chosen,
                    const std::optional<protection_policy>& policy) {
    const weight of_next = weight_of(next, policy);
    // Nothing blocks a held pair, and after a return a fault can move operation again.
    const bool new_story =
        is_transfer(chosen) && (of_next == weight::block ||
                                (of_next == weight::failover_fault && !goes_to_backup(chosen)));
    return new_story || of_next <= weight_of(chosen, policy);
}

bool is_in_question(const history_entry& event, const time_span& asked) {
    if (event.begun > asked.last) return false;
    return event.begun >= asked.first - long_ago_ms ||
           (!is_transfer(event) && event.lasted_at(asked.first));
}

const history_entry* choose(const explain_view& view, const time_span& asked) {
    const history_entry* chosen = nullptr;
    std::optional<std::int64_t> last_fault;
    for (const history_entry& entry : view.history) {
        if (!is_event(entry)) continue;
        // A fault may end the asked time, and the transfer that it caused come just after.
        const bool follows = !is_of_main(entry) && last_fault && entry.begun >= *last_fault &&
                             entry.begun <= *last_fault + same_event_ms;
        if (!follows && !is_in_question(entry, asked)) continue;
        if (is_of_main(entry)) last_fault = entry.begun;
        if (chosen == nullptr || answers_better(entry, *chosen, view.policy)) chosen = &entry;
    }
    return chosen;
}

const history_entry* last_event(const explain_view& view) {
    const history_entry* last = nullptr;
    bool in_hold = false;
    for (const history_entry& entry : view.history) {
        // Of an unknown hold the log tells all that is known.
        if (is_transfer(entry))
            in_hold = view.held_on_backup.value_or(true) && goes_to_backup(entry);
        if (is_event(entry) && !(in_hold && is_of_main(entry))) last = &entry;
    }
    return last;
}

} // namespace

const history_entry* event_in_question(const explain_view& view) {
    if (!view.about_now) return choose(view, view.asked);
    const history_entry* const last = last_event(view);
    return last == nullptr ? nullptr : choose(view, {.first = last->begun, .last = last->begun});
}

} // namespace elvantris::operator_control
