// Collecting what goes to support.
//
// Threads: any. Failure: what can't be had is a missing part, with the reason.
#pragma once

#include "tool/sub_commands.hpp"
#include "tool/support_bundle.hpp"

namespace elvantris::operator_control {

// Of a log no more than its end.
inline constexpr std::size_t most_of_a_log = 20'000'000;

// Reads the files, asks the program and runs the sub-commands that look.
support_bundle collect_bundle(const common_options& common, bool with_payloads);

} // namespace elvantris::operator_control
