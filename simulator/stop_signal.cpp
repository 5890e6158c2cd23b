#include "stop_signal.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <system_error>

namespace elvantris::simulator {

namespace {

using clock = std::chrono::steady_clock;

int milliseconds_left(std::optional<clock::time_point> deadline) {
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - clock::now());
    return static_cast<int>(
        std::clamp<std::int64_t>(left.count(), 0, std::numeric_limits<int>::max()));
}

} // namespace

stop_signal::stop_signal() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

stop_signal::~stop_signal() {
    ::close(descriptor_);
}

void stop_signal::raise() noexcept {
    const std::uint64_t one = 1;
    // It can only fail when it has been raised already.
    [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof one);
}

wait_result wait_for(int descriptor, short events, const stop_signal& stop,
                     std::optional<std::chrono::milliseconds> limit) {
    std::optional<clock::time_point> deadline;
    if (limit) deadline = clock::now() + *limit;
    // A negative descriptor is one that poll(2) passes over.
    std::array<pollfd, 2> watched{{{.fd = stop.descriptor(), .events = POLLIN, .revents = 0},
                                   {.fd = descriptor, .events = events, .revents = 0}}};
    for (;;) {
        const int count = ::poll(watched.data(), watched.size(), milliseconds_left(deadline));
        if (watched[0].revents != 0 && count > 0) return wait_result::stopped;
        if (count > 0) return wait_result::ready;
        if (count == 0) return wait_result::timed_out;
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "poll");
    }
}

bool pause_for(std::chrono::milliseconds duration, const stop_signal& stop) {
    return wait_for(-1, 0, stop, duration) != wait_result::stopped;
}

} // namespace elvantris::simulator
