#include "os/utf8_console.hpp"

namespace elvantris::operator_control {

unsigned switch_console_to_utf8() {
    return 0;
}

void switch_console_back(unsigned /*before*/) {}

} // namespace elvantris::operator_control
