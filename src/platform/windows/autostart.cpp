#include "platform/autostart.hpp"

#include <string>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr const wchar_t* run_key = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr const wchar_t* value_name = L"ElvantrisOperatorControl";

std::wstring own_path() {
    std::wstring path(32768, L'\0');
    const DWORD length =
        ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    path.resize(length < path.size() ? length : 0);
    return path;
}

bool write_command(HKEY key) {
    const std::wstring command = L'"' + own_path() + L"\" --background";
    const auto bytes = static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t));
    return ::RegSetValueExW(key, value_name, 0, REG_SZ,
                            reinterpret_cast<const BYTE*>(command.c_str()), bytes) == ERROR_SUCCESS;
}

bool delete_command(HKEY key) {
    const LSTATUS result = ::RegDeleteValueW(key, value_name);
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
}

} // namespace

bool autostart_enabled() {
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_CURRENT_USER, run_key, 0, KEY_QUERY_VALUE, &key) != ERROR_SUCCESS)
        return false;
    const LSTATUS result = ::RegQueryValueExW(key, value_name, nullptr, nullptr, nullptr, nullptr);
    ::RegCloseKey(key);
    return result == ERROR_SUCCESS;
}

bool set_autostart(bool value) {
    HKEY key = nullptr;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, run_key, 0, nullptr, REG_OPTION_NON_VOLATILE,
                          KEY_SET_VALUE, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return false;
    const bool done = value ? write_command(key) : delete_command(key);
    ::RegCloseKey(key);
    return done;
}

} // namespace elvantris::operator_control
