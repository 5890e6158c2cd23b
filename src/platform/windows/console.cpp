#include "platform/console.hpp"

#include <cstdio>
#include <iostream>
#include <windows.h>

namespace elvantris::operator_control {

namespace {

// A click into the console selects text, and while text is selected every write to the console
// blocks.
void switch_off_selecting_by_click() {
    const HANDLE input =
        ::CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      nullptr, OPEN_EXISTING, 0, nullptr);
    DWORD mode = 0;
    if (::GetConsoleMode(input, &mode) != 0)
        ::SetConsoleMode(input, (mode & ~DWORD{ENABLE_QUICK_EDIT_MODE}) | ENABLE_EXTENDED_FLAGS);
    if (input != INVALID_HANDLE_VALUE) ::CloseHandle(input);
}

} // namespace

void attach_console(bool wanted) {
    if (!wanted) return;
    // An existing console belongs to other programs as well; its mode is left alone.
    if (::GetConsoleWindow() == nullptr && ::AllocConsole() != 0) switch_off_selecting_by_click();
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
