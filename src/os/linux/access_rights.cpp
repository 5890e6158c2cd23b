#include "os/access_rights.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace elvantris::operator_control {

folder_access try_folder(const std::string& folder) {
    struct stat details {};
    if (::stat(folder.c_str(), &details) != 0)
        return errno == ENOENT || errno == ENOTDIR ? folder_access::missing
                                                   : folder_access::refused;
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0) {
        ::close(file);
        return folder_access::writable;
    }
    // Not every file system has files without a name.
    const bool unknown = errno == EOPNOTSUPP || errno == EISDIR;
    return unknown && ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0
               ? folder_access::writable
               : folder_access::refused;
}

// The rights alone are looked at: opening a deck would wake it up.
device_access try_device(const std::string& path) {
    if (::faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) == 0)
        return device_access::usable;
    return errno == ENOENT || errno == ENOTDIR ? device_access::gone : device_access::refused;
}

} // namespace elvantris::operator_control
