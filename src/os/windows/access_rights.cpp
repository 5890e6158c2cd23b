#include "os/access_rights.hpp"

#include "os/file_paths.hpp"
#include "os/windows/wide_text.hpp"

#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr DWORD share_with_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// The system's reason, or success.
DWORD open_and_close(const std::string& path, DWORD disposition, DWORD flags) {
    const HANDLE handle = ::CreateFileW(to_wide(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                        share_with_all, nullptr, disposition, flags, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return ::GetLastError();
    ::CloseHandle(handle);
    return ERROR_SUCCESS;
}

} // namespace

folder_access try_folder(const std::string& folder) {
    const DWORD attributes = ::GetFileAttributesW(to_wide(folder).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
                   ? folder_access::missing
                   : folder_access::refused;
    }
    const std::string name = "doctor-" + std::to_string(::GetCurrentProcessId()) + ".tmp";
    return open_and_close(path_inside(folder, name), CREATE_NEW,
                          FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE) == ERROR_SUCCESS
               ? folder_access::writable
               : folder_access::refused;
}

// Windows tells its rights only to who opens it.
device_access try_device(const std::string& path) {
    switch (open_and_close(path, OPEN_EXISTING, 0)) {
    case ERROR_SUCCESS:
        return device_access::usable;
    case ERROR_SHARING_VIOLATION:
        return device_access::held;
    case ERROR_ACCESS_DENIED:
        return device_access::refused;
    default:
        return device_access::gone;
    }
}

} // namespace elvantris::operator_control
