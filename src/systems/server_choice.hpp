// Which of the known servers make up the pair, and which one is active.
//
// Pure. The results point into what was handed in, and are null where there is none. In each list
// the first match wins.
#pragma once

#include "systems/registry_state.hpp"
#include "systems/system_record.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

const system_record* first_main(const std::vector<system_record>& systems);
const system_record* first_backup_for(const std::vector<system_record>& systems,
                                      const std::string& main_serial);

// The Backup of the first Main: without one there is no pair.
const system_record* backup_of_pair(const std::vector<system_record>& systems);

// The server to which the operator's view goes. Only one that is online and ready qualifies; while
// protection pins one, no other takes its place.
const system_record* find_active(const registry_state& state);

} // namespace elvantris::operator_control
