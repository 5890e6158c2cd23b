// What a good check leaves for the next one: the decks that were there. It is the only file that
// the tool writes, beside the configuration file.
#pragma once

#include "tool/program_status.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

std::string check_memory_path(const std::string& config_path);

// Writes the decks as the file's text, and reads it; unreadable entries are left out. Pure.
std::string write_check_memory(const std::vector<seen_deck>& decks);
std::vector<seen_deck> read_check_memory(std::string_view text);

// The same, from and to the disk. False if it can't be written; the old file then stays.
std::vector<seen_deck> load_check_memory(const std::string& config_path);
bool save_check_memory(const std::string& config_path, const std::vector<seen_deck>& decks);

} // namespace elvantris::operator_control
