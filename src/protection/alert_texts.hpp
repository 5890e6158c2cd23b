// Texts of alerts that the console tool looks for in the alert log.
#pragma once

#include <string_view>

namespace elvantris::operator_control::alert_texts {

// The prefix of each alert about that server.
inline constexpr std::string_view of_main = "Main: ";
inline constexpr std::string_view of_backup = "Backup: ";

inline constexpr std::string_view backup_not_ready =
    "Backup is not ready; automatic protection is degraded.";
inline constexpr std::string_view not_synchronized =
    "Backup show state or media is not synchronized.";

inline constexpr std::string_view blocked_by_readiness =
    "Main fault detected; failover blocked because Backup is not ready.";
inline constexpr std::string_view blocked_by_sequence =
    "Main fault detected; waiting for the current outbound sequence.";
inline constexpr std::string_view transfer_not_saved =
    "Could not persist active server; transfer was blocked.";

// The alert of a transfer is REASON + `operating_on` + the server.
inline constexpr std::string_view operator_request = "Operator requested transfer";
inline constexpr std::string_view operating_on = "; operating on ";

// The text of a step is "SEQUENCE / NAME: RESULT".
inline constexpr std::string_view to_backup = "Transfer to Backup";
inline constexpr std::string_view to_main = "Return to Main";
inline constexpr std::string_view step_sent = "sent; device execution unconfirmed.";

} // namespace elvantris::operator_control::alert_texts
