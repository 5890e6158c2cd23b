#include "os/files.hpp"

#include "os/file_paths.hpp"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace elvantris::operator_control {
namespace {

// Owns one open file for the length of a call.
class open_file {
public:
    open_file(const std::string& path, int flags)
        : descriptor_(::open(path.c_str(), flags | O_CLOEXEC, 0644)) {}
    ~open_file() {
        if (valid()) ::close(descriptor_);
    }
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;
    open_file(open_file&&) = delete;
    open_file& operator=(open_file&&) = delete;

    bool valid() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

std::optional<std::string> fails(read_failure* told, read_failure cause) {
    if (told != nullptr) *told = cause;
    return std::nullopt;
}

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// The number of bytes that were written.
std::size_t write_once(int descriptor, std::string_view bytes) {
    while (true) {
        const auto written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) return static_cast<std::size_t>(written);
        if (errno != EINTR) return 0;
    }
}

// Cuts away the last `size` bytes, as long as they are the end of the file: what others have
// appended since is theirs.
bool take_back(int descriptor, std::size_t size) {
    const off_t end = ::lseek(descriptor, 0, SEEK_CUR);
    const off_t start = end - static_cast<off_t>(size);
    struct stat details {};
    return start >= 0 && ::fstat(descriptor, &details) == 0 && details.st_size == end &&
           ::ftruncate(descriptor, start) == 0;
}

std::string folder_of(const std::string& path) {
    const std::string parent = parent_folder(path);
    return parent.empty() ? "." : parent;
}

// The new names are in place; if the folder can't be flushed, the files are whole all the same.
void flush_names(const std::string& folder) {
    const open_file opened(folder, O_RDONLY | O_DIRECTORY);
    if (opened.valid()) ::fsync(opened.descriptor());
}

} // namespace

std::optional<std::string> read_whole_file(const std::string& path, std::size_t limit,
                                           read_failure* failure) {
    // Non-blocking: a pipe under this name must not block the program.
    const open_file file(path, O_RDONLY | O_NONBLOCK);
    if (!file.valid())
        return fails(failure, errno == ENOENT || errno == ENOTDIR ? read_failure::missing
                                                                  : read_failure::unreadable);
    struct stat details {};
    if (::fstat(file.descriptor(), &details) != 0 || !S_ISREG(details.st_mode))
        return fails(failure, read_failure::unreadable);
    if (static_cast<std::uintmax_t>(details.st_size) > limit)
        return fails(failure, read_failure::too_large);
    std::string content;
    std::array<char, 65536> buffer{};
    while (true) {
        const auto size = ::read(file.descriptor(), buffer.data(), buffer.size());
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) return fails(failure, read_failure::unreadable);
        if (size == 0) return content;
        content.append(buffer.data(), static_cast<std::size_t>(size));
        // Another program may have made it longer meanwhile.
        if (content.size() > limit) return fails(failure, read_failure::too_large);
    }
}

write_outcome write_whole_file(const std::string& path, std::string_view bytes) {
    const open_file file(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK);
    if (!file.valid()) return write_outcome::not_opened;
    const bool written = write_all(file.descriptor(), bytes) && ::fsync(file.descriptor()) == 0;
    return written ? write_outcome::written : write_outcome::failed_after_opening;
}

bool replace_file(const std::string& from, const std::string& to) {
    // Everything that needs memory comes before the step.
    const std::string folder = folder_of(to);
    if (std::rename(from.c_str(), to.c_str()) != 0) return false;
    flush_names(folder);
    return true;
}

bool keep_file_as(const std::string& path, const std::string& second_name) {
    const std::string folder = folder_of(second_name);
    if (::link(path.c_str(), second_name.c_str()) == 0) {
        // The first name is about to be replaced: a loss of power must not leave neither.
        flush_names(folder);
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) return true;
    if (errno == EEXIST) return false; // nothing may be replaced
    struct stat details {};
    return ::lstat(path.c_str(), &details) == 0 && !S_ISDIR(details.st_mode) &&
           std::rename(path.c_str(), second_name.c_str()) == 0;
}

append_file::~append_file() {
    close();
}

bool append_file::open(const std::string& path) {
    close();
    handle_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, 0644);
    return handle_ >= 0;
}

bool append_file::write(std::string_view line) noexcept {
    if (handle_ < 0) return false;
    const int descriptor = static_cast<int>(handle_);
    if (torn_ && write_once(descriptor, "\n") != 1) return false;
    torn_ = false;
    const std::size_t written = write_once(descriptor, line);
    torn_ = written > 0 && written < line.size() && !take_back(descriptor, written);
    return written == line.size();
}

void append_file::close() noexcept {
    if (handle_ >= 0) ::close(static_cast<int>(std::exchange(handle_, -1)));
}

} // namespace elvantris::operator_control
