#include "platform/open_external.hpp"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

// Runs between fork and exec, where only calls that are safe in a signal handler may stand.
[[noreturn]] void become_opener(const char* target) {
    ::signal(SIGPIPE, SIG_DFL);
    ::setsid();
    const int nothing = ::open("/dev/null", O_RDWR);
    if (nothing >= 0)
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::dup2(nothing, stream);
    const std::array<const char*, 3> arguments{"xdg-open", target, nullptr};
    ::execvp(arguments[0], const_cast<char* const*>(arguments.data()));
    ::_exit(127);
}

} // namespace

void open_external(const std::string& target) {
    // The child forks once more and ends at once, so the opener belongs to nobody here: it is
    // never waited for and leaves no zombie.
    const pid_t child = ::fork();
    if (child == 0) {
        if (::fork() == 0) become_opener(target.c_str());
        ::_exit(0);
    }
    if (child > 0)
        while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
}

} // namespace elvantris::operator_control
