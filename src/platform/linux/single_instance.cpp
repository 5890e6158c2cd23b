#include "platform/single_instance.hpp"

#include "os/process.hpp"

#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

const std::string name = "elvantris-redundancy-control";

int open_lock(const std::string& path) {
    return ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
}

// The session's folder, or the temporary one where there is none, or none to write in: a session
// that has ended still names it.
int open_lock() {
    if (const auto session = environment_variable("XDG_RUNTIME_DIR"); session && !session->empty())
        if (const int file = open_lock(*session + '/' + name + ".lock"); file >= 0) return file;
    const auto temporary = environment_variable("TMPDIR");
    return open_lock((temporary && !temporary->empty() ? *temporary : "/tmp") + '/' + name + '-' +
                     std::to_string(::getuid()) + ".lock");
}

} // namespace

single_instance::~single_instance() {
    if (handle_ != -1) ::close(static_cast<int>(handle_));
}

bool single_instance::acquire_single_instance() {
    if (handle_ != -1) return true;
    const int file = open_lock();
    if (file < 0) return false;
    // The system drops the lock with the process, however it ends; the file stays.
    if (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        ::close(file);
        return false;
    }
    handle_ = file;
    return true;
}

} // namespace elvantris::operator_control
