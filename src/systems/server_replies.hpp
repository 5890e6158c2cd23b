// What the servers' answers say, as values. Servers spell their keys in either of two ways.
//
// Pure. Failure: none; a missing or unreadable field takes its default.
#pragma once

#include "systems/system_record.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

operator_control_config parse_operator_control_config(std::string_view text);
replication_status parse_replication_status(std::string_view text);
std::string parse_identity_serial(std::string_view text);

// One pairing out of those that several servers hold. A later server's statement overwrites an
// earlier one's, and a list of shared functions from a server that knows a Main outranks the rest.
operator_control_config
merge_discovered_configs(const std::vector<operator_control_config>& configs);

} // namespace elvantris::operator_control
