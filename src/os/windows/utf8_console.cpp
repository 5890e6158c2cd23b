#include "os/utf8_console.hpp"

#include <windows.h>

namespace elvantris::operator_control {

unsigned switch_console_to_utf8() {
    const UINT before = ::GetConsoleOutputCP();
    return before != 0 && ::SetConsoleOutputCP(CP_UTF8) != 0 ? before : 0;
}

void switch_console_back(unsigned before) {
    if (before != 0) ::SetConsoleOutputCP(before);
}

} // namespace elvantris::operator_control
