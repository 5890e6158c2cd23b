#include "os/files.hpp"

#include "os/windows/wide_text.hpp"

#include <algorithm>
#include <array>
#include <utility>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Owns one open file for the length of a call.
class open_file {
public:
    open_file(const std::string& path, DWORD access, DWORD disposition)
        : handle_(::CreateFileW(to_wide(path).c_str(), access, share_all, nullptr, disposition,
                                FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~open_file() {
        if (valid()) ::CloseHandle(handle_);
    }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;
    open_file(open_file&&) = delete;
    open_file& operator=(open_file&&) = delete;

    bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE handle() const { return handle_; }

private:
    HANDLE handle_;
};

bool write_all(HANDLE handle, std::string_view bytes) {
    while (!bytes.empty()) {
        constexpr std::size_t piece = 0x40000000;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), piece));
        DWORD written = 0;
        if (::WriteFile(handle, bytes.data(), wanted, &written, nullptr) == 0 || written == 0)
            return false;
        bytes.remove_prefix(written);
    }
    return true;
}

} // namespace

std::optional<std::string> read_whole_file(const std::string& path, std::size_t limit) {
    const open_file file(path, GENERIC_READ, OPEN_EXISTING);
    if (!file.valid() || ::GetFileType(file.handle()) != FILE_TYPE_DISK) return std::nullopt;
    std::string content;
    std::array<char, 65536> buffer{};
    while (true) {
        DWORD size = 0;
        if (::ReadFile(file.handle(), buffer.data(), static_cast<DWORD>(buffer.size()), &size,
                       nullptr) == 0)
            return std::nullopt;
        if (size == 0) return content;
        content.append(buffer.data(), size);
        if (content.size() > limit) return std::nullopt;
    }
}

write_outcome write_whole_file(const std::string& path, std::string_view bytes) {
    const open_file file(path, GENERIC_WRITE, CREATE_ALWAYS);
    if (!file.valid()) return write_outcome::not_opened;
    const bool written = write_all(file.handle(), bytes) && ::FlushFileBuffers(file.handle()) != 0;
    return written ? write_outcome::written : write_outcome::failed_after_opening;
}

bool replace_file(const std::string& from, const std::string& to) {
    // A virus scanner or an editor may hold the old file open for a moment.
    constexpr int most_tries = 5;
    constexpr DWORD pause_ms = 10;
    for (int tries = 1;; ++tries) {
        if (::MoveFileExW(to_wide(from).c_str(), to_wide(to).c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
            return true;
        if (tries == most_tries || ::GetLastError() == ERROR_FILE_NOT_FOUND) return false;
        ::Sleep(pause_ms);
    }
}

bool append_to_file(const std::string& path, std::string_view bytes) {
    const open_file file(path, FILE_APPEND_DATA, OPEN_ALWAYS);
    return file.valid() && write_all(file.handle(), bytes);
}

append_file::~append_file() {
    close();
}

bool append_file::open(const std::string& path) {
    close();
    handle_ = reinterpret_cast<std::intptr_t>(::CreateFileW(to_wide(path).c_str(), FILE_APPEND_DATA,
                                                            share_all, nullptr, OPEN_ALWAYS,
                                                            FILE_ATTRIBUTE_NORMAL, nullptr));
    return handle_ != -1;
}

bool append_file::write(std::string_view bytes) {
    return handle_ != -1 && write_all(reinterpret_cast<HANDLE>(handle_), bytes);
}

void append_file::close() {
    if (handle_ != -1) ::CloseHandle(reinterpret_cast<HANDLE>(std::exchange(handle_, -1)));
}

} // namespace elvantris::operator_control
