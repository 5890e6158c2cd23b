#include "tool/alert_history.hpp"

#include "tool/json_fields.hpp"
#include "tool/log_events.hpp"

#include <algorithm>
#include <charconv>
#include <map>

namespace elvantris::operator_control {
namespace {

// The end of the year 9999: what is later is no time.
constexpr std::int64_t latest_time = 253'402'300'799'999;

bool is_possible(std::int64_t time) {
    return time >= 0 && time <= latest_time;
}

std::optional<alert_event> event_from_word(std::string_view word) {
    if (word == "fault") return alert_event::fault;
    if (word == "recovered") return alert_event::recovered;
    if (word == "action") return alert_event::action;
    return std::nullopt;
}

history_kind kind_of(std::string_view key) {
    if (key == "transfer") return history_kind::transfer;
    if (key == "failover-blocked" || key == "transfer-storage") return history_kind::blocked;
    return history_kind::fault;
}

// A command that failed is in the log twice: as a fault, and as a command.
bool repeats(const std::vector<history_entry>& history, const alert_line& action) {
    return !history.empty() && history.back().begun == action.time &&
           history.back().message == action.message;
}

} // namespace

std::optional<alert_line> read_alert_line(std::string_view line) {
    const json_tree read = read_json_tree(line);
    if (!read.is_object()) return std::nullopt;
    const std::int64_t time = number_field(read, "time", -1);
    const auto event = event_from_word(text_field(read, "event"));
    const auto key = find_text(read, "key");
    const auto message = find_text(read, "message");
    if (!is_possible(time) || !event || (*event != alert_event::action && !key) ||
        (*event != alert_event::recovered && !message))
        return std::nullopt;
    return alert_line{
        .time = time, .event = *event, .key = key.value_or(""), .message = message.value_or("")};
}

std::optional<std::int64_t> time_of_alert_line(std::string_view line) {
    constexpr std::string_view beginning = R"({"time":)";
    if (!line.starts_with(beginning)) return std::nullopt;
    line.remove_prefix(beginning.size());
    std::int64_t time = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), time);
    const bool whole = error == std::errc() && end != line.data() + line.size() && *end == ',';
    return whole && is_possible(time) ? std::optional(time) : std::nullopt;
}

std::vector<history_entry> read_history(const std::vector<alert_line>& lines) {
    std::vector<history_entry> history;
    std::map<std::string_view, std::size_t> open; // the entry of each key that hasn't ended
    for (const alert_line& line : lines) {
        if (line.event == alert_event::recovered) {
            if (const auto found = open.find(line.key); found != open.end()) {
                history[found->second].ended = line.time;
                open.erase(found);
            }
            continue;
        }
        const bool fault = line.event == alert_event::fault;
        if (!fault && repeats(history, line)) continue;
        if (fault) open[line.key] = history.size();
        history.push_back({.kind = fault ? kind_of(line.key) : history_kind::command,
                           .begun = line.time,
                           .ended = {},
                           .key = fault ? line.key : "",
                           .message = line.message});
    }
    return history;
}

void mark_lasting(std::vector<history_entry>& history, const protection_snapshot& program) {
    for (const alert_record& alert : program.alerts) {
        if (!alert.active) continue;
        const auto entry = std::ranges::find_if(history, [&](const history_entry& each) {
            return each.kind != history_kind::command && !each.ended &&
                   each.begun == alert.started && each.message == alert.message;
        });
        if (entry != history.end()) entry->lasts = true;
    }
    const auto latest = std::ranges::find_if(history.rbegin(), history.rend(), is_transfer);
    if (latest != history.rend() && !latest->ended &&
        goes_to_backup(*latest) == program.held_on_backup)
        latest->lasts = true;
}

} // namespace elvantris::operator_control
