#include "os/reserved_ports.hpp"

#include "os/windows/wide_text.hpp"

#include <array>
#include <string>
#include <utility>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr DWORD longest_run_ms = 3000;
// All that the command prints has room: it never waits for a reader.
constexpr DWORD pipe_size = 262'144;

class owned_handle {
public:
    explicit owned_handle(HANDLE handle) : handle_(handle) {}
    ~owned_handle() { close(); }
    owned_handle(const owned_handle&) = delete;
    owned_handle& operator=(const owned_handle&) = delete;
    owned_handle(owned_handle&&) = delete;
    owned_handle& operator=(owned_handle&&) = delete;

    HANDLE get() const { return handle_; }
    void close() {
        if (const HANDLE handle = std::exchange(handle_, nullptr)) ::CloseHandle(handle);
    }

private:
    HANDLE handle_;
};

std::wstring system_program(const wchar_t* name) {
    std::array<wchar_t, MAX_PATH> folder{};
    const UINT length = ::GetSystemDirectoryW(folder.data(), MAX_PATH);
    return std::wstring(folder.data(), length) + L'\\' + name;
}

std::string read_all(HANDLE pipe) {
    std::string text;
    std::array<char, 4096> piece{};
    DWORD size = 0;
    while (::ReadFile(pipe, piece.data(), static_cast<DWORD>(piece.size()), &size, nullptr) != 0 &&
           size > 0)
        text.append(piece.data(), size);
    return text;
}

// True if it has ended by itself, and well.
bool run(const std::wstring& program, std::wstring words, HANDLE output) {
    STARTUPINFOW how{};
    how.cb = sizeof how;
    how.dwFlags = STARTF_USESTDHANDLES;
    how.hStdOutput = output;
    PROCESS_INFORMATION started{};
    if (::CreateProcessW(program.c_str(), words.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW,
                         nullptr, nullptr, &how, &started) == 0)
        return false;
    const owned_handle process(started.hProcess);
    const owned_handle thread(started.hThread);
    DWORD code = 1;
    if (::WaitForSingleObject(process.get(), longest_run_ms) != WAIT_OBJECT_0) {
        ::TerminateProcess(process.get(), 1);
        ::WaitForSingleObject(process.get(), longest_run_ms);
        return false;
    }
    return ::GetExitCodeProcess(process.get(), &code) != 0 && code == 0;
}

} // namespace

// No call of the system tells them; its own command does.
std::optional<std::vector<port_range>> reserved_port_ranges() {
    SECURITY_ATTRIBUTES inherited{
        .nLength = sizeof inherited, .lpSecurityDescriptor = nullptr, .bInheritHandle = TRUE};
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    if (::CreatePipe(&reading, &writing, &inherited, pipe_size) == 0) return std::nullopt;
    const owned_handle output(reading);
    owned_handle input(writing);
    ::SetHandleInformation(output.get(), HANDLE_FLAG_INHERIT, 0);
    const bool done =
        run(system_program(L"netsh.exe"),
            L"netsh interface ipv4 show excludedportrange protocol=tcp store=active", input.get());
    input.close();
    // The real one prints a head at least.
    const std::string printed = done ? read_all(output.get()) : std::string();
    if (printed.empty()) return std::nullopt;
    return read_reserved_ranges(printed);
}

} // namespace elvantris::operator_control
