#include "os/process.hpp"

#include "os/windows/wide_text.hpp"

#include <array>
#include <windows.h>

#include <shellapi.h>

namespace elvantris::operator_control {

std::vector<std::string> command_line_arguments(int, char**) {
    int count = 0;
    wchar_t** const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    if (wide == nullptr) return {};
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i)
        arguments.push_back(to_utf8(wide[i]));
    ::LocalFree(static_cast<HLOCAL>(wide));
    return arguments;
}

std::optional<std::string> environment_variable(const std::string& name) {
    std::wstring value(32767, L'\0'); // the longest that the system allows
    ::SetLastError(ERROR_SUCCESS);
    const DWORD length = ::GetEnvironmentVariableW(to_wide(name).c_str(), value.data(),
                                                   static_cast<DWORD>(value.size()));
    if (length == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    value.resize(length);
    return to_utf8(value);
}

void ignore_write_signals() {} // a failed write is all that happens here

// The system's own limit is in the millions.
void raise_descriptor_limit() {}
bool descriptors_left(std::size_t) {
    return true;
}

std::string host_name() {
    std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
    auto length = static_cast<DWORD>(name.size());
    if (::GetComputerNameW(name.data(), &length) == 0) return {};
    return to_utf8({name.data(), length});
}

std::optional<std::string> user_data_folder() {
    return std::nullopt;
}

} // namespace elvantris::operator_control
