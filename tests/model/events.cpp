#include "model/events.hpp"

#include <array>
#include <random>

namespace elvantris::operator_control::model {
namespace {

class author {
public:
    explicit author(std::uint64_t seed) : random_(seed) {}

    std::vector<event> write(std::uint64_t cycles) {
        std::vector<event> show;
        show.push_back({.kind = event_kind::policy, .a = draw()});
        for (std::uint64_t cycle = 0; cycle < cycles; ++cycle) {
            // The operator may act on a new pair before a cycle has seen it.
            while (one_in(show.back().kind == event_kind::pair ? 3 : 12))
                show.push_back(between_cycles());
            show.push_back(next_cycle());
        }
        return show;
    }

private:
    struct mood {
        std::uint32_t says = healthy;
        unsigned rest = 0; // cycles
    };

    std::uint32_t draw() { return static_cast<std::uint32_t>(random_()); }
    std::uint32_t below(std::uint32_t limit) { return draw() % limit; }
    bool one_in(std::uint32_t chances) { return below(chances) == 0; }

    event next_cycle() {
        event next{.kind = event_kind::cycle, .ms = cycle_ms};
        if (one_in(8)) next.ms += 50 * below(8);
        if (one_in(100)) next.ms += 250 * below(12);
        next.a = answer_of(moods_[0]);
        next.b = answer_of(moods_[1]);
        next.flag = one_in(150);
        return next;
    }

    std::uint32_t answer_of(mood& server) {
        if (server.rest == 0) {
            server.says = one_in(2) ? healthy : faulty();
            server.rest = one_in(10) ? below(80) : below(12);
        } else {
            --server.rest;
        }
        if (one_in(60)) return 0;
        if (server.says == 0) return 0;
        return server.says | (one_in(3) ? below(5) << age_shift : 0);
    }

    std::uint32_t faulty() {
        constexpr std::array<std::uint32_t, 6> lost{
            supported, engine_running,         engine_responsive,
            telemetry, 1U << first_output_bit, all_outputs};
        constexpr std::array<std::uint32_t, 4> added{engine_starting, frames_stalled, clock_fault,
                                                     pressure};
        switch (below(8)) {
        case 0:
            return 0;
        case 1:
            return answered; // alive, and too old to say more
        case 2:
            return (draw() & (healthy | 0x1FFU)) | answered;
        case 3:
        case 4:
            return healthy | added.at(below(added.size()));
        default:
            return healthy & ~lost.at(below(lost.size()));
        }
    }

    event between_cycles() {
        switch (below(24)) {
        case 0:
            return {.kind = event_kind::pause, .ms = 50 * below(200), .a = below(7200)};
        case 1:
            return {.kind = event_kind::policy, .a = draw()};
        case 2:
            return {.kind = event_kind::test_action, .a = below(4)};
        case 3:
            return one_in(4) ? event{.kind = event_kind::pair, .a = below(6)} : work();
        case 4:
            return {.kind = event_kind::enabled, .flag = !one_in(4)};
        case 5:
        case 6:
            return {.kind = event_kind::replication, .a = below(3), .b = draw()};
        case 7:
            return {.kind = event_kind::disk, .flag = one_in(6)};
        case 8:
            if (!one_in(3)) return work();
            return {.kind = event_kind::restart, .ms = 50 * below(400), .flag = one_in(6)};
        case 9:
            return {.kind = event_kind::monitor_failure};
        case 10:
        case 11:
        case 12:
        case 13:
        case 14:
        case 15:
            return {.kind = event_kind::operate, .a = below(9)};
        default:
            return work();
        }
    }

    event work() { return {.kind = event_kind::worker, .a = below(64)}; }

    std::mt19937_64 random_;
    std::array<mood, 2> moods_;
};

std::string describe_answer(std::uint32_t says) {
    if ((says & answered) == 0) return "silence";
    std::string text = "answers";
    const auto add = [&](bool tell, const char* words) {
        if (tell) text += std::string(", ") + words;
    };
    add((says & supported) == 0, "too old");
    add((says & engine_running) == 0, "engine stopped");
    add((says & engine_responsive) == 0, "engine hangs");
    add((says & telemetry) == 0, "no telemetry");
    add((says & engine_starting) != 0, "engine starting");
    add((says & frames_stalled) != 0, "frames stalled");
    add((says & clock_fault) != 0, "clock lost");
    add((says & pressure) != 0, "under pressure");
    if ((says & all_outputs) != all_outputs)
        text += ", outputs " + std::to_string((says & all_outputs) >> first_output_bit);
    if ((says >> age_shift) != 0)
        text += ", " + std::to_string(50 * (says >> age_shift)) + " ms ago";
    return text;
}

} // namespace

std::vector<event> make_show(std::uint64_t seed, std::uint64_t cycles) {
    return author(seed).write(cycles);
}

std::string describe(const event& happening) {
    const std::string a = std::to_string(happening.a);
    const std::string later = std::to_string(happening.ms) + " ms later: ";
    switch (happening.kind) {
    case event_kind::cycle:
        return later + "Main " + describe_answer(happening.a) + "; Backup " +
               describe_answer(happening.b) + (happening.flag ? "; cut off" : "");
    case event_kind::pause:
        return later + "pause, wall clock +" + a + " s";
    case event_kind::operate:
        return "operate " + a;
    case event_kind::policy:
        return "policy " + a;
    case event_kind::test_action:
        return "test action " + a;
    case event_kind::worker:
        return "worker " + a;
    case event_kind::pair:
        return "pair " + a;
    case event_kind::enabled:
        return happening.flag ? "pair enabled" : "pair disabled";
    case event_kind::replication:
        return "replication of server " + a + ": " + std::to_string(happening.b);
    case event_kind::disk:
        return happening.flag ? "saves fail" : "saves work";
    case event_kind::restart:
        return later + "restart" + (happening.flag ? ", state file unreadable" : "");
    case event_kind::monitor_failure:
        return "an exception in the monitor";
    }
    return {};
}

} // namespace elvantris::operator_control::model
