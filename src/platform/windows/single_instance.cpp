#include "platform/single_instance.hpp"

#include <windows.h>

namespace elvantris::operator_control {

single_instance::~single_instance() {
    if (handle_ != -1) ::CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

bool single_instance::acquire_single_instance() {
    if (handle_ != -1) return true;
    const HANDLE mutex =
        ::CreateMutexW(nullptr, FALSE, L"Local\\TarnwellMedia.ElvantrisOperatorControl");
    if (mutex == nullptr) return false;
    // Only its existence counts; nobody ever waits on it.
    if (::GetLastError() == ERROR_ALREADY_EXISTS) {
        ::CloseHandle(mutex);
        return false;
    }
    handle_ = reinterpret_cast<std::intptr_t>(mutex);
    return true;
}

} // namespace elvantris::operator_control
