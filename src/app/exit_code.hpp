#pragma once

namespace elvantris::operator_control {

// What the process tells whoever started it.
enum exit_code {
    exit_normal = 0,
    exit_no_sockets = 2,
    exit_no_api_port = 3,
    exit_no_ui_port = 4,
    exit_no_resources = 5
};

} // namespace elvantris::operator_control
