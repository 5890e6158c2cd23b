// A zip archive, made in memory.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct zip_entry {
    std::string name; // ASCII
    std::string bytes;
};

// The archive's bytes; each entry has this time, as the operator's clock shows it. Absent only if
// the memory is short.
std::optional<std::string> write_zip(const std::vector<zip_entry>& entries, const std::string& date,
                                     const std::string& clock);

} // namespace elvantris::operator_control
