// What others say about the servers, put into the list of records: one pass over what they say,
// each record found without going through the list.
//
// Pure. The lists stay as long as they get; known_systems.hpp bounds them afterwards.
#pragma once

#include "os/clock.hpp"
#include "systems/system_record.hpp"

#include <vector>

namespace elvantris::operator_control {

// Adds the servers that answered a discovery round, renews those that are known, and proves all of
// them alive. A ready server keeps its address. A server is known by its serial, one without a
// serial by its address; the first record in list order wins.
void merge_servers(std::vector<system_record>& systems,
                   const std::vector<discovered_server>& servers, steady_time now);

// Adds the systems of a pairing, and gives those that are known the roles and names in it. An
// online system keeps its address.
void import_systems(std::vector<system_record>& systems,
                    const std::vector<operator_control_system>& sources);

} // namespace elvantris::operator_control
