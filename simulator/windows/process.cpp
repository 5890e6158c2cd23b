#include "program_end.hpp"

#include <winsock2.h>

#include <windows.h>

#include <array>
#include <iostream>

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

// A program that was started by a double click is alone in a console of its own.
void let_the_text_be_read() {
    std::array<DWORD, 2> processes{};
    if (::GetConsoleProcessList(processes.data(), 2) != 1) return;
    std::cout << "Press Enter to close this window." << std::endl;
    std::cin.get();
}

void wait_for_end_signal() {
    ::WaitForSingleObject(end_event(), INFINITE);
}

} // namespace elvantris::simulator
