#pragma once

#include "tool/sub_commands.hpp"

namespace elvantris::operator_control {

sub_command explain_command();

} // namespace elvantris::operator_control
