#include "os/end_wish.hpp"

#include <array>
#include <csignal>

#include <pthread.h>

namespace elvantris::operator_control {
namespace {

bool is_ignored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t end_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : std::array{SIGINT, SIGTERM, SIGHUP})
        // As `nohup` does with SIGHUP, and a shell with Ctrl-C for what runs in the background.
        if (!is_ignored(signal)) sigaddset(&set, signal);
    return set;
}

} // namespace

end_wish::end_wish() {
    const sigset_t set = end_signals();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void end_wish::wait() const {
    const sigset_t set = end_signals();
    int received = 0;
    ::sigwait(&set, &received);
}

} // namespace elvantris::operator_control
