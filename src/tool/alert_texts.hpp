// Alerts of the program that the tool knows by their text, as the status has no keys.
#pragma once

#include <string_view>

namespace elvantris::operator_control::alert_texts {

inline constexpr std::string_view backup_not_ready =
    "Backup is not ready; automatic protection is degraded.";
inline constexpr std::string_view not_synchronized =
    "Backup show state or media is not synchronized.";

} // namespace elvantris::operator_control::alert_texts
