#include "tool/sub_commands.hpp"

#include <array>

namespace elvantris::operator_control {

std::span<const sub_command> sub_commands() {
    static const std::array table{
        check_command(),   doctor_command(),  timeline_command(),
        explain_command(), metrics_command(), bundle_command(),
    };
    return table;
}

} // namespace elvantris::operator_control
