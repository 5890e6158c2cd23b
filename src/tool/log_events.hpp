// What an entry of the log means for operation. Pure.
#pragma once

#include "protection/policy.hpp"
#include "tool/alert_history.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace elvantris::operator_control {

// Alert and transfer of one cycle have the same time, or nearly so.
inline constexpr std::int64_t same_event_ms = 2000;

bool is_of_main(const history_entry& entry); // a fault of Main
bool is_of_backup(
    const history_entry& entry); // a fault of Backup that can keep it from taking over
bool is_unreadiness(const history_entry& entry);
bool is_transfer(const history_entry& entry);

// Of a transfer.
bool goes_to_backup(const history_entry& transfer);
bool is_on_request(const history_entry& transfer);
std::string reason_of(const history_entry& transfer);

// Of a command.
bool was_sent(const history_entry& command);

// Of a fault of Main: whether it is known to start no failover. Under an unknown policy any may.
bool only_alerts(const history_entry& fault, const std::optional<protection_policy>& policy);

// The fault's message without the server's name.
std::string condition_of_main(const history_entry& fault);
// How the log writes a condition of that server.
std::string fault_of_main(const std::string& condition);
std::string fault_of_backup(const std::string& condition);

} // namespace elvantris::operator_control
