#include "os/file_pieces.hpp"

#include "os/windows/wide_text.hpp"

#include <algorithm>
#include <windows.h>

namespace elvantris::operator_control {
namespace {

HANDLE native(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

} // namespace

file_pieces::~file_pieces() {
    if (handle_ != -1) ::CloseHandle(native(handle_));
}

std::optional<read_failure> file_pieces::open(const std::string& path) {
    if (handle_ != -1) ::CloseHandle(native(handle_));
    handle_ = reinterpret_cast<std::intptr_t>(::CreateFileW(
        to_wide(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle_ == -1) {
        const DWORD error = ::GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
                   ? read_failure::missing
                   : read_failure::unreadable;
    }
    if (::GetFileType(native(handle_)) != FILE_TYPE_DISK) return read_failure::unreadable;
    return std::nullopt;
}

std::uint64_t file_pieces::size() const {
    LARGE_INTEGER length{};
    if (::GetFileSizeEx(native(handle_), &length) == 0) return 0;
    return static_cast<std::uint64_t>(length.QuadPart);
}

std::optional<std::size_t> file_pieces::read_at(std::uint64_t place, std::span<char> buffer) const {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        constexpr std::size_t piece = 0x40000000;
        const std::uint64_t from = place + filled;
        OVERLAPPED at{};
        at.Offset = static_cast<DWORD>(from);
        at.OffsetHigh = static_cast<DWORD>(from >> 32);
        DWORD size = 0;
        const auto wanted = static_cast<DWORD>(std::min(buffer.size() - filled, piece));
        const bool read =
            ::ReadFile(native(handle_), buffer.data() + filled, wanted, &size, &at) != 0;
        if (!read && ::GetLastError() != ERROR_HANDLE_EOF && filled == 0) return std::nullopt;
        if (!read || size == 0) break;
        filled += size;
    }
    return filled;
}

} // namespace elvantris::operator_control
