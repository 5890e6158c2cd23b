#include "os/standard_streams.hpp"

#include <iostream>
#include <string>

namespace elvantris::operator_control {
namespace {

// One unformatted write: a chain of `<<` would touch the stream's shared format state.
void write_line(std::ostream& stream, std::string_view line) {
    std::string text(line);
    text += '\n';
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.flush();
}

} // namespace

void write_output_line(std::string_view line) {
    write_line(std::cout, line);
}

void write_error_line(std::string_view line) {
    write_line(std::cerr, line);
}

} // namespace elvantris::operator_control
