// What the operator has told protection to do.
//
// Pure functions over values; any thread.
#pragma once

#include "os/transport.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// What a condition causes. A number rather than an enumeration, as any number can be posted
// and is then judged by `validate_policy`.
using fault_mode = std::uint32_t;
inline constexpr fault_mode mode_ignore = 0;
inline constexpr fault_mode mode_alert = 1;
inline constexpr fault_mode mode_failover = 2;

// One output that must work, on Main and on Backup.
struct output_rule {
    std::string mainId;
    std::string backupId; // may be empty unless the mode is failover
    fault_mode mode = mode_alert;
};

// One message to an outside device when operation moves.
struct outbound_action {
    std::string name;
    std::string event = "backup"; // or "main": the transfer that runs it
    std::string host;
    std::int32_t port = 0;
    operator_control::transport transport = operator_control::transport::tcp;
    std::string payload; // as typed, escapes unresolved
    std::uint32_t delayMs = 0;
    std::uint32_t timeoutMs = 1000;
    std::uint32_t retries = 0;
    bool enabled = false; // a disabled action is neither run nor checked
};

struct protection_policy {
    bool armed = true; // automatic failover may fire; monitoring runs either way
    bool audible = false;
    std::uint32_t lossMs = 1000;    // a server silent for so long is lost
    std::uint32_t stallMs = 1500;   // a channel without a frame for so long has stalled
    std::uint32_t outputMs = 1000;  // how long a protected output must be gone
    std::uint32_t startupMs = 5000; // grace after start and after a change of the pair
    fault_mode server = mode_failover;
    fault_mode engine = mode_failover;
    fault_mode responsive = mode_failover;
    fault_mode frames = mode_failover;
    fault_mode sync = mode_alert; // at 2 Backup must be in sync; never a failover
    fault_mode clock = mode_alert;
    fault_mode resources = mode_alert; // failover is not allowed
    std::vector<output_rule> outputRules;
    std::vector<outbound_action> actions;
};

// Never fails: what is missing or unreadable takes its default. Of a list that is too long only one
// element more than it may hold is read, so that `validate_policy` refuses it.
protection_policy parse_policy(std::string_view text);

// One JSON object, keys in their fixed order, no white space.
std::string write_policy(const protection_policy& policy);

// False at the first rule broken; `error` then holds the sentence for the operator.
bool validate_policy(const protection_policy& policy, std::string& error);

} // namespace elvantris::operator_control
