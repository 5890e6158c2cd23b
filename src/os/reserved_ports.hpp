// TCP ports that the system keeps for itself: nobody can listen there, and no program holds them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

struct port_range {
    std::uint16_t first = 0;
    std::uint16_t last = 0;

    bool operator==(const port_range&) const = default;
};

// Absent if the system doesn't say so within three seconds. Only Windows has such ranges.
// Threads: any.
std::optional<std::vector<port_range>> reserved_port_ranges();

// The ranges in what Windows' own command prints, in whatever language: the lines that begin with
// two numbers. Pure.
std::vector<port_range> read_reserved_ranges(std::string_view printed);

} // namespace elvantris::operator_control
