#include "program_end.hpp"

#include <winsock2.h>

#include <windows.h>

namespace elvantris::simulator {

namespace {

HANDLE end_event() {
    static const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

// Runs on a thread of the system's own, which ends the process when it returns from a closed
// window: the program's first thread has to be quicker.
BOOL WINAPI ask_for_end(DWORD) {
    ::SetEvent(end_event());
    ::Sleep(INFINITE);
    return TRUE;
}

} // namespace

void prepare_process() {
    WSADATA details{};
    ::WSAStartup(MAKEWORD(2, 2), &details);
    end_event();
    ::SetConsoleCtrlHandler(ask_for_end, TRUE);
}

void with_free_signals(const std::function<void()>& act) {
    act();
}

void wait_for_end_signal() {
    ::WaitForSingleObject(end_event(), INFINITE);
}

} // namespace elvantris::simulator
