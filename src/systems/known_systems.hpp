// How much strangers can put into the registry: the longest text, and which records stay when there
// are too many. All bounds are far above any real installation.
//
// Pure. The cost grows with the number of records (times its logarithm where some must go).
#pragma once

#include "systems/system_record.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace elvantris::operator_control {

inline constexpr std::size_t most_known_systems = 1024;
inline constexpr std::size_t longest_network_text = 4096;
// Of all records together. Written out, a byte becomes six at most.
inline constexpr std::size_t most_known_text = 1'048'576;

// The text, cut before the UTF-8 character with which it would become too long.
std::string cut_network_text(std::string text, std::size_t longest = longest_network_text);

// The bytes of all texts of a record.
std::size_t text_size(const system_record& system);

// Drops the least important records until all bounds hold; the others keep their order. The pair
// comes first, then other roles, then online records, then ready ones. Among equals every address
// keeps its first record before any keeps its second, and those heard last come first. True if any
// was dropped.
bool keep_known_systems_bounded(std::vector<system_record>& systems);

} // namespace elvantris::operator_control
