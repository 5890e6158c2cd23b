#include "os/end_wish.hpp"

#include <windows.h>

namespace elvantris::operator_control {
namespace {

HANDLE end_event() {
    static const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

// Runs on a thread of the system's own, which ends the process when it returns from a closed
// console: the program's first thread has to be quicker. The system waits five seconds for it.
BOOL WINAPI note_wish(DWORD /*kind*/) {
    ::SetEvent(end_event());
    ::Sleep(INFINITE);
    return TRUE;
}

} // namespace

end_wish::end_wish() {
    end_event();
    ::SetConsoleCtrlHandler(note_wish, TRUE);
}

void end_wish::wait() const {
    ::WaitForSingleObject(end_event(), INFINITE);
}

} // namespace elvantris::operator_control
