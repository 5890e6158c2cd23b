#include "platform/single_instance.hpp"

#include "os/windows/wide_text.hpp"

#include <system_error>
#include <windows.h>

namespace elvantris::operator_control {

single_instance::~single_instance() {
    if (handle_ != -1) ::CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

bool single_instance::acquire_single_instance() {
    if (handle_ != -1) return true;
    constexpr const char* name = "Local\\TarnwellMedia.ElvantrisOperatorControl";
    const std::wstring wide_name = to_wide(name);
    const HANDLE mutex = ::CreateMutexW(nullptr, FALSE, wide_name.c_str());
    if (mutex == nullptr) {
        refusal_ = "Unable to create " + std::string(name) + ": " +
                   std::system_category().message(static_cast<int>(::GetLastError()));
        return false;
    }
    // Only its existence counts; nobody ever waits on it.
    if (::GetLastError() == ERROR_ALREADY_EXISTS) {
        ::CloseHandle(mutex);
        return false;
    }
    handle_ = reinterpret_cast<std::intptr_t>(mutex);
    return true;
}

} // namespace elvantris::operator_control
