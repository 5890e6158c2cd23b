// The files of a show as an operator leaves them: a pair with a spare, a policy with output rules
// and actions, and operation held on Backup.
#pragma once

#include "protection/policy.hpp"
#include "protection/server_health.hpp"
#include "protection/state_file.hpp"
#include "systems/registry_state.hpp"

namespace elvantris::operator_control::proof {

inline constexpr const char* main_serial = "TM-20417-A";
inline constexpr const char* backup_serial = "TM-20418-B";

registry_state paired_registry();
protection_policy policy_with_actions();
saved_protection held_protection();
server_health healthy_server();

} // namespace elvantris::operator_control::proof
