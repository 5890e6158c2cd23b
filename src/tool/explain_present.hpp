// What an explanation knows of the present: from the program if it runs, else from its files. Pure.
#pragma once

#include "tool/explain_view.hpp"
#include "tool/saved_files.hpp"

#include <string>

namespace elvantris::operator_control {

void take_from_program(explain_view& view, const program_status& status);

// What a bad file would have told stays unknown, and a note says why.
void take_from_files(explain_view& view, const saved_files& files, const std::string& config_path);

} // namespace elvantris::operator_control
