// The words of alerts and of the log that others know them by: the console tool reads them back.
#pragma once

#include <string_view>

namespace elvantris::operator_control::alert_texts {

// In front of a condition of that server.
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

// A transfer is its reason, these words and the server.
inline constexpr std::string_view operator_request = "Operator requested transfer";
inline constexpr std::string_view operating_on = "; operating on ";

// A step is its sequence, a slash, its name, a colon and how it went.
inline constexpr std::string_view to_backup = "Transfer to Backup";
inline constexpr std::string_view to_main = "Return to Main";
inline constexpr std::string_view step_sent = "sent; device execution unconfirmed.";

} // namespace elvantris::operator_control::alert_texts
