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

std::optional<std::string> fails(read_failure* told, read_failure cause) {
    if (told != nullptr) *told = cause;
    return std::nullopt;
}

bool is_missing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

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

// The number of bytes that were appended to what the file holds at this moment.
std::size_t write_once(HANDLE handle, std::string_view bytes) {
    OVERLAPPED at_the_end{};
    at_the_end.Offset = 0xFFFFFFFF;
    at_the_end.OffsetHigh = 0xFFFFFFFF;
    DWORD written = 0;
    ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, &at_the_end);
    return written;
}

// Cuts away the last `size` bytes, as long as they are the end of the file: what others have
// appended since is theirs.
bool take_back(HANDLE handle, std::size_t size) {
    LARGE_INTEGER end{};
    LARGE_INTEGER length{};
    if (::SetFilePointerEx(handle, {}, &end, FILE_CURRENT) == 0 ||
        ::GetFileSizeEx(handle, &length) == 0 || length.QuadPart != end.QuadPart)
        return false;
    LARGE_INTEGER start{};
    start.QuadPart = end.QuadPart - static_cast<LONGLONG>(size);
    return start.QuadPart >= 0 && ::SetFilePointerEx(handle, start, nullptr, FILE_BEGIN) != 0 &&
           ::SetEndOfFile(handle) != 0;
}

} // namespace

std::optional<std::string> read_whole_file(const std::string& path, std::size_t limit,
                                           read_failure* failure) {
    const open_file file(path, GENERIC_READ, OPEN_EXISTING);
    if (!file.valid())
        return fails(failure, is_missing(::GetLastError()) ? read_failure::missing
                                                           : read_failure::unreadable);
    LARGE_INTEGER length{};
    if (::GetFileType(file.handle()) != FILE_TYPE_DISK ||
        ::GetFileSizeEx(file.handle(), &length) == 0)
        return fails(failure, read_failure::unreadable);
    if (static_cast<std::uint64_t>(length.QuadPart) > limit)
        return fails(failure, read_failure::too_large);
    std::string content;
    std::array<char, 65536> buffer{};
    while (true) {
        DWORD size = 0;
        if (::ReadFile(file.handle(), buffer.data(), static_cast<DWORD>(buffer.size()), &size,
                       nullptr) == 0)
            return fails(failure, read_failure::unreadable);
        if (size == 0) return content;
        content.append(buffer.data(), size);
        // Another program may have made it longer meanwhile.
        if (content.size() > limit) return fails(failure, read_failure::too_large);
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
    const std::wstring wide_from = to_wide(from);
    const std::wstring wide_to = to_wide(to);
    for (int tries = 1;; ++tries) {
        if (::MoveFileExW(wide_from.c_str(), wide_to.c_str(),
                          MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
            return true;
        if (tries == most_tries || ::GetLastError() == ERROR_FILE_NOT_FOUND) return false;
        ::Sleep(pause_ms);
    }
}

bool keep_file_as(const std::string& path, const std::string& second_name) {
    const std::wstring wide_path = to_wide(path);
    const std::wstring wide_name = to_wide(second_name);
    if (::CreateHardLinkW(wide_name.c_str(), wide_path.c_str(), nullptr) != 0) return true;
    const DWORD attributes = ::GetFileAttributesW(wide_path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return is_missing(::GetLastError());
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           ::MoveFileExW(wide_path.c_str(), wide_name.c_str(), MOVEFILE_WRITE_THROUGH) != 0;
}

append_file::~append_file() {
    close();
}

bool append_file::open(const std::string& path) {
    close();
    // Cutting needs the right to write anywhere; nothing else uses it.
    handle_ = reinterpret_cast<std::intptr_t>(
        ::CreateFileW(to_wide(path).c_str(), FILE_APPEND_DATA | FILE_WRITE_DATA, share_all, nullptr,
                      OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return handle_ != -1;
}

bool append_file::write(std::string_view line) noexcept {
    if (handle_ == -1) return false;
    HANDLE const handle = reinterpret_cast<HANDLE>(handle_);
    if (torn_ && write_once(handle, "\n") != 1) return false;
    torn_ = false;
    const std::size_t written = write_once(handle, line);
    torn_ = written > 0 && written < line.size() && !take_back(handle, written);
    return written == line.size();
}

void append_file::close() noexcept {
    if (handle_ != -1) ::CloseHandle(reinterpret_cast<HANDLE>(std::exchange(handle_, -1)));
}

} // namespace elvantris::operator_control
