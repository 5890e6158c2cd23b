// The two clocks. Intervals use the steady one; the wall clock is for times that a person reads.
// Decisions take their `now` as an argument; only a thread's own few lines call these.
#pragma once

#include <chrono>
#include <cstdint>

namespace elvantris::operator_control {

// Whole 64-bit nanoseconds. The value 0 stands for "never" wherever a record keeps one.
using steady_time = std::chrono::steady_clock::time_point;
using milliseconds = std::chrono::milliseconds;

steady_time steady_now();

// Milliseconds since 1970-01-01 UTC.
std::int64_t wall_clock_ms();

// One reading of both, for a decision that measures intervals and also dates what it notes.
struct moment {
    steady_time steady;
    std::int64_t wall_ms = 0;
};
moment now_on_both_clocks();

// Whole milliseconds from `earlier` to `later`, cut towards zero.
inline std::int64_t milliseconds_between(steady_time earlier, steady_time later) {
    return std::chrono::duration_cast<milliseconds>(later - earlier).count();
}

} // namespace elvantris::operator_control
