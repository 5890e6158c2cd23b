#include "platform/single_instance.hpp"

#include "os/process.hpp"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

const std::string name = "elvantris-redundancy-control";

struct lock_file {
    std::string path;
    int descriptor = -1;
};

lock_file open_lock(const std::string& path) {
    const int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    return {path, ::open(path.c_str(), flags, 0600)};
}

// The session's folder, or the temporary one where there is none, or none to write in: a session
// that has ended still names it.
lock_file open_lock() {
    if (const auto session = environment_variable("XDG_RUNTIME_DIR"); session && !session->empty())
        if (lock_file lock = open_lock(*session + '/' + name + ".lock"); lock.descriptor >= 0)
            return lock;
    const auto temporary = environment_variable("TMPDIR");
    return open_lock((temporary && !temporary->empty() ? *temporary : "/tmp") + '/' + name + '-' +
                     std::to_string(::getuid()) + ".lock");
}

std::string refusal_of(const lock_file& lock, int error) {
    return "Unable to lock " + lock.path + ": " + std::system_category().message(error);
}

} // namespace

single_instance::~single_instance() {
    if (handle_ != -1) ::close(static_cast<int>(handle_));
}

bool single_instance::acquire_single_instance() {
    if (handle_ != -1) return true;
    const lock_file lock = open_lock();
    if (lock.descriptor < 0) {
        refusal_ = refusal_of(lock, errno);
        return false;
    }
    // The system drops the lock with the process, however it ends; the file stays.
    if (::flock(lock.descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK) refusal_ = refusal_of(lock, errno);
        ::close(lock.descriptor);
        return false;
    }
    handle_ = lock.descriptor;
    return true;
}

} // namespace elvantris::operator_control
