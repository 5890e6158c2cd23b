// All that an explanation needs, read beforehand.
#pragma once

#include "tool/alert_history.hpp"
#include "tool/local_time.hpp"
#include "tool/program_status.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

// For how long after a transfer its commands still belong to it: a sequence may take minutes.
inline constexpr std::int64_t aftermath_ms = 900'000;

struct explain_view {
    // Includes entries a little after the asked time: commands follow a transfer.
    std::vector<history_entry> history;
    bool about_now = true;                  // then the last event counts, however old it is
    time_span asked;                        // otherwise the time in question
    std::optional<std::int64_t> log_begins; // its oldest line that was read
    bool older_left_out = false;
    program_presence presence = program_presence::running;
    // As they are now, absent where nobody can tell; the log doesn't tell how they were then.
    std::optional<bool> enabled;
    std::optional<bool> held_on_backup;
    std::optional<protection_policy> policy;
    std::vector<std::string> notes; // sentences on where this comes from, or why it is absent
};

} // namespace elvantris::operator_control
