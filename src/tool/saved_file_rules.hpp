// What is wrong with the program's settings files, in the same words for every sub-command. Pure.
#pragma once

#include "tool/finding.hpp"
#include "tool/saved_files.hpp"

#include <string>

namespace elvantris::operator_control {

// A missing protection file is no finding: nothing was ever changed.
findings examine_saved_files(const saved_files& files, const std::string& config_path);

} // namespace elvantris::operator_control
