// The alert log as a list of entries, each with its beginning and, if known, its end.
//
// Pure; any bytes may come in.
#pragma once

#include "protection/protection_status.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

enum class alert_event { fault, recovered, action };

// One line of the log. Times are milliseconds since 1970-01-01 UTC.
struct alert_line {
    std::int64_t time = 0;
    alert_event event = alert_event::fault;
    std::string key;     // empty for an action
    std::string message; // empty for a recovery
};

// Reads one line, given without its line end. Absent if it is damaged or of no known kind.
std::optional<alert_line> read_alert_line(std::string_view line);

// The time alone, as the program writes it at the front of each line. Fast enough to skip
// millions of lines. Absent if something else is there.
std::optional<std::int64_t> time_of_alert_line(std::string_view line);

enum class history_kind {
    fault,
    transfer, // ends with the next one
    blocked,  // operation should have moved, and could not
    command,  // one outbound step; it has no end
};

struct history_entry {
    history_kind kind = history_kind::fault;
    std::int64_t begun = 0;
    std::optional<std::int64_t> ended; // absent where the log doesn't tell
    std::string key;                   // empty for a command
    std::string message;
    bool lasts = false; // the running program says so

    // Whether it is known to have been active at that time. If the program stopped first, the log
    // has no end: without `ended` and `lasts` only the beginning is known.
    bool lasted_at(std::int64_t time) const {
        return begun <= time && (ended ? *ended >= time : lasts);
    }
};

// In the order of the log. A program that stopped, and a changed pair, leave faults without an end;
// the same fault again then makes a new entry. An end without its beginning is left out.
std::vector<history_entry> read_history(const std::vector<alert_line>& lines);

// Sets `lasts` for what the running program shows as active: its alerts, and the latest transfer if
// operation is still on that side. A restart ends a transfer's alert, and no hold.
void mark_lasting(std::vector<history_entry>& history, const protection_snapshot& program);

} // namespace elvantris::operator_control
