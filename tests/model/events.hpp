// What happens in one show of the model, as plain values: the same list replays the same show.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace elvantris::operator_control::model {

enum class event_kind {
    cycle,       // `ms` later, Main says `a` and Backup `b`; `flag`: the workstation was cut off
    pause,       // `ms` pass; the wall clock steps by `a` seconds more
    operate,     // word number `a`
    policy,      // the policy that `a` stands for
    test_action, // number `a`
    worker,      // takes, records or finishes; `a` chooses
    pair,        // pair number `a`
    enabled,     // `flag`
    replication, // of server `a`, as `b` says
    disk,        // `flag`: saves fail from now on
    restart,     // `ms` later; `flag`: the state file can't be read
    monitor_failure, // an exception in a cycle
};

struct event {
    event_kind kind = event_kind::cycle;
    std::int64_t ms = 0;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    bool flag = false;
};

// The bits of what a server says in one cycle. 0 is silence.
enum answer_bit : std::uint32_t {
    answered = 1U << 0U,
    supported = 1U << 1U,
    engine_running = 1U << 2U,
    engine_responsive = 1U << 3U,
    telemetry = 1U << 4U,
    engine_starting = 1U << 5U,
    frames_stalled = 1U << 6U,
    clock_fault = 1U << 7U,
    pressure = 1U << 8U,
};
inline constexpr unsigned first_output_bit = 9; // six of them
inline constexpr unsigned output_bits = 6;
inline constexpr unsigned age_shift = 15; // the answer's age in units of 50 ms, at most 4
inline constexpr std::uint32_t all_outputs = ((1U << output_bits) - 1U) << first_output_bit;
inline constexpr std::uint32_t healthy =
    answered | supported | engine_running | engine_responsive | telemetry | all_outputs;

inline constexpr std::int64_t cycle_ms = 250;

// A show of `cycles` monitor cycles with everything that may happen between them.
std::vector<event> make_show(std::uint64_t seed, std::uint64_t cycles);

// One line for a person.
std::string describe(const event& happening);

} // namespace elvantris::operator_control::model
