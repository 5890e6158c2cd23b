// The show report: what happened, when, for how long. Pure, but for the system's calendar.
#pragma once

#include "tool/alert_history.hpp"
#include "tool/alert_log_reader.hpp"
#include "tool/answer.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct timeline {
    std::vector<history_entry> entries; // in the order of the log
    std::uint64_t damaged = 0;
    bool begins_later = false;
    std::string note; // a sentence on where this comes from; empty as a rule
};

// What began, lasted or ended between the two moments. Without the running program it is unknown
// whether an entry without an end is still active.
timeline timeline_between(const alert_log_part& log, std::int64_t since, std::int64_t until,
                          const protection_snapshot* program = nullptr);

// A fault in it, or a line of the log that can't be read, is a finding.
tool_answer answer_timeline(const timeline& shown);

// The same as comma separated values, for a table. What is missing from the log isn't in it.
std::string timeline_csv(const timeline& shown);
std::string what_the_log_lacks(const timeline& shown); // whole lines

} // namespace elvantris::operator_control
