#include "os/system_name.hpp"

#include <windows.h>

namespace elvantris::operator_control {

// The usual question is answered with the version that a program was made for. This one isn't.
std::string system_name() {
    const HMODULE library = ::GetModuleHandleW(L"ntdll.dll");
    if (library == nullptr) return "";
    using version_question = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto ask = reinterpret_cast<version_question>(
        reinterpret_cast<void*>(::GetProcAddress(library, "RtlGetVersion")));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (ask == nullptr || ask(&version) != 0) return "";
    return "Windows " + std::to_string(version.dwMajorVersion) + '.' +
           std::to_string(version.dwMinorVersion) + '.' + std::to_string(version.dwBuildNumber);
}

} // namespace elvantris::operator_control
