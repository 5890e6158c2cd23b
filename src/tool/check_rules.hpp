// The check before a show, rule by rule. Pure: a view in, findings out.
#pragma once

#include "protection/policy.hpp"
#include "tool/check_view.hpp"
#include "tool/finding.hpp"

#include <chrono>
#include <string_view>

namespace elvantris::operator_control {

// All rules, the most important first.
findings check_before_show(const check_view& view);

// Is the program there, and are its files?
findings check_program(const check_view& view);
findings check_files(const check_view& view);
// Would operation move?
findings check_pair(const check_view& view);
// Are both servers well, by what the program says of them? Nothing if it says nothing.
findings check_servers(const check_view& view);
// Settings that are legal and unwise; commands.
findings check_settings(const check_view& view);
findings check_commands(const check_view& view);
// The workstation: decks, disk.
findings check_decks(const check_view& view);
findings check_disk(const check_view& view);
// The active alerts that none of these findings explains.
findings check_alerts(const check_view& view, const findings& known);

// How long the commands of an event ("backup" or "main") can take: each attempt may wait for the
// whole of its timeout. As long as they run, nothing else moves.
std::chrono::milliseconds longest_sequence(const protection_policy& policy, std::string_view event);

} // namespace elvantris::operator_control
