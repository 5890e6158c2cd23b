// What protection shows of itself, as it was at one moment.
#pragma once

#include "protection/alert_list.hpp"
#include "protection/policy.hpp"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct shown_server {
    std::string serial;
    std::int64_t age_ms = -1; // since the last good poll; -1 before the first
    bool supported = false;
    bool engine_running = false;
    bool engine_responsive = false;
    bool telemetry_available = false;
    bool frame_stalled = false;
    std::string outputs; // as the server sent it
};

struct protection_snapshot {
    protection_policy policy;
    bool held_on_backup = false;
    bool actions_busy = false; // a sequence is running or queued
    std::string last_action;
    std::vector<shown_server> servers; // by serial
    std::deque<alert_record> alerts;   // oldest first
};

// One JSON object, keys in their fixed order. Pure.
std::string write_status(const protection_snapshot& snapshot);

} // namespace elvantris::operator_control
