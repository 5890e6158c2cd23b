#include "program_end.hpp"

#include "arguments.hpp"

#include <csignal>
#include <exception>
#include <iostream>

namespace elvantris::simulator {

namespace {

sigset_t end_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

// Before any other thread is started, so that all of them hold the signals back.
void hold_back_end_signals() {
    const sigset_t set = end_signals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

int run_program(const char* name, const std::function<void()>& run) {
    hold_back_end_signals();
    try {
        run();
        return 0;
    } catch (const argument_error& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 2;
    } catch (const std::exception& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 1;
    }
}

void wait_for_end_signal() {
    const sigset_t set = end_signals();
    int received = 0;
    sigwait(&set, &received);
}

} // namespace elvantris::simulator
