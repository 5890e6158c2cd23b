#include "os/file_pieces.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace elvantris::operator_control {

file_pieces::~file_pieces() {
    if (handle_ >= 0) ::close(static_cast<int>(handle_));
}

std::optional<read_failure> file_pieces::open(const std::string& path) {
    if (handle_ >= 0) ::close(static_cast<int>(handle_));
    // Non-blocking: a pipe under this name must not block the program.
    const int opened = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    handle_ = opened;
    if (opened < 0)
        return errno == ENOENT || errno == ENOTDIR ? read_failure::missing
                                                   : read_failure::unreadable;
    struct stat details {};
    if (::fstat(opened, &details) != 0 || !S_ISREG(details.st_mode))
        return read_failure::unreadable;
    return std::nullopt;
}

std::uint64_t file_pieces::size() const {
    struct stat details {};
    if (::fstat(static_cast<int>(handle_), &details) != 0) return 0;
    return static_cast<std::uint64_t>(details.st_size);
}

std::optional<std::size_t> file_pieces::read_at(std::uint64_t place, std::span<char> buffer) const {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const auto size = ::pread(static_cast<int>(handle_), buffer.data() + filled,
                                  buffer.size() - filled, static_cast<off_t>(place + filled));
        if (size < 0 && errno == EINTR) continue;
        if (size < 0 && filled == 0) return std::nullopt;
        if (size <= 0) break;
        filled += static_cast<std::size_t>(size);
    }
    return filled;
}

} // namespace elvantris::operator_control
