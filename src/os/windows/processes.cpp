#include "os/processes.hpp"

#include "os/windows/wide_text.hpp"

#include <cctype>
#include <string_view>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr DWORD longest_path = 32'767;

std::string path_of(process_number process) {
    const HANDLE handle = ::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process);
    if (handle == nullptr) return {};
    std::wstring path(longest_path, L'\0');
    DWORD length = longest_path;
    const bool known = ::QueryFullProcessImageNameW(handle, 0, path.data(), &length) != 0;
    ::CloseHandle(handle);
    return known ? to_utf8({path.data(), length}) : std::string();
}

bool ends_with_exe(std::string_view name) {
    if (name.size() < 4) return false;
    std::string end(name.substr(name.size() - 4));
    for (char& letter : end)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return end == ".exe";
}

} // namespace

// A file that runs can't be replaced here.
running_program describe_process(process_number process) {
    running_program program{.process = process, .path = path_of(process)};
    program.name = program.path.substr(program.path.find_last_of("\\/") + 1);
    if (ends_with_exe(program.name)) program.name.resize(program.name.size() - 4);
    return program;
}

running_program describe_this_process() {
    return describe_process(::GetCurrentProcessId());
}

// The system tells it only to drivers and administrators.
std::optional<std::vector<running_program>> programs_holding(const std::string&) {
    return std::nullopt;
}

} // namespace elvantris::operator_control
