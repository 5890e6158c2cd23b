#include "os/clock.hpp"

namespace elvantris::operator_control {

steady_time steady_now() {
    return std::chrono::steady_clock::now();
}

std::int64_t wall_clock_ms() {
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch).count();
}

moment now_on_both_clocks() {
    return {.steady = steady_now(), .wall_ms = wall_clock_ms()};
}

} // namespace elvantris::operator_control
