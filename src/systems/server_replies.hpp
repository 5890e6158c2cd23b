// What the servers' answers say, as values. Servers spell their keys in either of two ways.
//
// Pure. Failure: none; a missing or unreadable field takes its default. What a server says beyond
//   the bounds below is left out, and a text that is too long is cut.
#pragma once

#include "systems/system_record.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

inline constexpr std::size_t most_pairing_systems = 4096;
inline constexpr std::size_t most_pairing_text = 1'048'576; // bytes of all their texts together
inline constexpr std::size_t most_shared_ids = 4096;

operator_control_config parse_operator_control_config(std::string_view text);
replication_status parse_replication_status(std::string_view text);
std::string parse_identity_serial(std::string_view text);

// One pairing out of those that several servers hold. A later server's statement overwrites an
// earlier one's, and a list of shared functions from a server that knows a Main outranks the rest.
// One that is not enabled says nothing; the result is not enabled if none was. The bounds hold for
// the result too, and systems without a role leave half of it to those that have one.
operator_control_config
merge_discovered_configs(const std::vector<operator_control_config>& configs);

} // namespace elvantris::operator_control
