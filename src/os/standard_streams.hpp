// How every subsystem writes its lines: progress on standard output, trouble on standard error.
//
// A line goes out in one piece and is flushed, so lines of different threads are neither torn nor
// lost. `line` comes without its line end.
// Threads: any. Failure: none is reported; a stream that can't take the line loses it, and so does
// a process without memory for it.
#pragma once

#include <exception>
#include <string_view>

namespace elvantris::operator_control {

void write_output_line(std::string_view line) noexcept;
void write_error_line(std::string_view line) noexcept;

// What was tried and why it failed, for handlers of exceptions.
void write_failure_line(std::string_view tried, const std::exception& failure) noexcept;

} // namespace elvantris::operator_control
