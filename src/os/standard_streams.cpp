#include "os/standard_streams.hpp"

#include <exception>
#include <iostream>
#include <string>

namespace elvantris::operator_control {
namespace {

// One unformatted write: a chain of `<<` would use the stream's format state, which threads share.
void write_line(std::ostream& stream, std::string_view line, std::string_view rest = {}) noexcept {
    try {
        const std::string text = std::string(line).append(rest) + '\n';
        stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        stream.flush();
    } catch (...) {
        // Reporting a failure must not cause another one.
        return;
    }
}

} // namespace

void write_output_line(std::string_view line) noexcept {
    write_line(std::cout, line);
}

void write_error_line(std::string_view line) noexcept {
    write_line(std::cerr, line);
}

void write_failure_line(std::string_view tried, const std::exception& failure) noexcept {
    write_line(std::cerr, tried, failure.what());
}

} // namespace elvantris::operator_control
