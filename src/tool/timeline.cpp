#include "tool/timeline.hpp"

#include "tool/local_time.hpp"
#include "tool/log_events.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

const char* kind_word(history_kind kind) {
    switch (kind) {
    case history_kind::fault:
        return "fault";
    case history_kind::transfer:
        return "moved";
    case history_kind::blocked:
        return "blocked";
    case history_kind::command:
        return "command";
    }
    return "";
}

// If the clock was set back in between, there is no duration.
std::optional<std::int64_t> duration_of(const history_entry& entry) {
    if (!entry.ended || *entry.ended < entry.begun) return std::nullopt;
    return *entry.ended - entry.begun;
}

std::string how_long(const history_entry& entry) {
    if (entry.kind == history_kind::command) return "";
    const std::optional<std::int64_t> duration = duration_of(entry);
    if (duration) return " (" + duration_text(*duration) + ')';
    if (entry.ended) return " (the clock was set back)";
    return entry.lasts ? " (still lasts)" : " (no end in the log)";
}

bool is_finding(const history_entry& entry) {
    if (entry.kind == history_kind::command) return !was_sent(entry);
    return entry.kind == history_kind::fault || entry.kind == history_kind::blocked;
}

std::string padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::string lines_of(const timeline& shown) {
    std::string text;
    std::string day;
    for (const history_entry& entry : shown.entries) {
        if (const std::string date = local_date(entry.begun); date != day) {
            text += date + '\n';
            day = date;
        }
        text += local_clock(entry.begun) + "  " + padded(kind_word(entry.kind), 9) + entry.message +
                how_long(entry) + '\n';
    }
    if (shown.entries.empty()) text += "Nothing happened in this time.\n";
    return text + what_the_log_lacks(shown);
}

json_tree tree_of(const history_entry& entry) {
    json_tree tree{{"kind", kind_word(entry.kind)},
                   {"begun", entry.begun},
                   {"begunLocal", local_moment(entry.begun)},
                   {"ended", nullptr},
                   {"endedLocal", nullptr},
                   {"durationMs", nullptr},
                   {"lasts", entry.lasts},
                   {"key", entry.key},
                   {"message", entry.message}};
    if (entry.ended) {
        tree["ended"] = *entry.ended;
        tree["endedLocal"] = local_moment(*entry.ended);
        if (const auto duration = duration_of(entry)) tree["durationMs"] = *duration;
    }
    return tree;
}

std::string quoted(const std::string& text) {
    std::string cell = "\"";
    for (const char byte : text) {
        if (byte == '"') cell += '"';
        cell += byte;
    }
    return cell + '"';
}

} // namespace

timeline timeline_between(const alert_log_part& log, std::int64_t since, std::int64_t until,
                          const protection_snapshot* program) {
    timeline shown{.entries = read_history(log.lines),
                   .damaged = log.damaged,
                   .begins_later = log.begins_later,
                   .note = {}};
    if (program != nullptr) mark_lasting(shown.entries, *program);
    std::erase_if(shown.entries, [&](const history_entry& entry) {
        return entry.begun > until || (entry.begun < since && !entry.lasted_at(since));
    });
    return shown;
}

std::string what_the_log_lacks(const timeline& shown) {
    std::string text;
    if (shown.begins_later) text += "The log is long: older events are left out.\n";
    if (!shown.note.empty()) text += shown.note + '\n';
    if (shown.damaged > 0)
        text += "Damaged lines of the log, left out: " + std::to_string(shown.damaged) + '\n';
    return text;
}

tool_answer answer_timeline(const timeline& shown) {
    const bool found = shown.damaged > 0 || std::ranges::any_of(shown.entries, is_finding);
    tool_answer answer{.exit = found ? tool_exit::findings : tool_exit::all_well,
                       .text = lines_of(shown),
                       .tree = {{"timeline", json_tree::array()},
                                {"damagedLines", shown.damaged},
                                {"olderLeftOut", shown.begins_later}}};
    if (!shown.note.empty()) answer.tree["note"] = shown.note;
    for (const history_entry& entry : shown.entries)
        answer.tree["timeline"].push_back(tree_of(entry));
    return answer;
}

std::string timeline_csv(const timeline& shown) {
    std::string text = "begun,ended,duration_ms,kind,message\n";
    for (const history_entry& entry : shown.entries) {
        const std::optional<std::int64_t> duration = duration_of(entry);
        text += local_moment(entry.begun) + ',' +
                (entry.ended ? local_moment(*entry.ended) : std::string()) + ',' +
                (duration ? std::to_string(*duration) : std::string()) + ',' +
                kind_word(entry.kind) + ',' + quoted(entry.message) + '\n';
    }
    return text;
}

} // namespace elvantris::operator_control
