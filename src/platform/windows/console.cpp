#include "platform/console.hpp"

#include <cstdio>
#include <iostream>
#include <windows.h>

namespace elvantris::operator_control {

void attach_console(bool wanted) {
    if (!wanted) return;
    if (::GetConsoleWindow() == nullptr) ::AllocConsole();
    // A stream that can't be reopened stays silent, as it was.
    static_cast<void>(std::freopen("CONOUT$", "w", stdout));
    static_cast<void>(std::freopen("CONOUT$", "w", stderr));
    static_cast<void>(std::freopen("CONIN$", "r", stdin));
    std::cout.clear();
    std::cerr.clear();
    std::cin.clear();
    ::SetConsoleOutputCP(CP_UTF8);
    ::SetConsoleTitleW(L"Elvantris Redundancy Control");
}

} // namespace elvantris::operator_control
