// The look at the workstation, rule by rule. Pure: a view in, findings out.
#pragma once

#include "tool/doctor_view.hpp"
#include "tool/finding.hpp"

#include <string>

namespace elvantris::operator_control {

// All rules, the most important first.
findings examine_workstation(const doctor_view& view);
// What couldn't be looked at, and what only looks like a fault.
findings notes_on_workstation(const doctor_view& view);

findings examine_ports(const doctor_view& view);
findings examine_networks(const doctor_view& view);
findings examine_decks(const doctor_view& view);
findings examine_clock(const doctor_view& view);
findings examine_files(const doctor_view& view);
findings examine_version(const doctor_view& view);

// The interfaces at which servers can be: up, and none of this computer alone.
std::vector<interface_address> usable_interfaces(const network_view& network);
bool is_in_network_of(const interface_address& interface, std::uint32_t address);

// "elvantris-redundancy-control (process 123)".
std::string told_program(const running_program& program);
std::string told_programs(const std::vector<running_program>& programs);
// "Main (SER-A)" of the pair, else the name of its workstation.
std::string told_server(const registry_state& registry, const discovered_server& server);

} // namespace elvantris::operator_control
