// The end of a log that may be of any size.
//
// Threads: any; others may write, truncate or move the log meanwhile. Failure: a value.
#pragma once

#include "os/files.hpp"

#include <cstdint>
#include <string>
#include <variant>

namespace elvantris::operator_control {

struct log_end {
    std::string text;
    bool older_left_out = false;
};

// At most so many bytes. What is left out ends with a line, unless there is no line end in the
// rest.
std::variant<log_end, read_failure> read_log_end(const std::string& path, std::size_t most);

} // namespace elvantris::operator_control
