#include "tool/tool_version.hpp"

namespace elvantris::operator_control {

std::string_view tool_version() {
    return ELVANTRIS_VERSION;
}

} // namespace elvantris::operator_control
