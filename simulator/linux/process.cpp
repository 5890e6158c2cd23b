#include "program_end.hpp"

#include <csignal>

namespace elvantris::simulator {

namespace {

sigset_t end_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

void prepare_process() {
    const sigset_t set = end_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

void with_free_signals(const std::function<void()>& act) {
    const sigset_t set = end_signals();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    act();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

// A terminal stays.
void let_the_text_be_read() {}

void wait_for_end_signal() {
    const sigset_t set = end_signals();
    int received = 0;
    sigwait(&set, &received);
}

} // namespace elvantris::simulator
