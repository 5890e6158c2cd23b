// What `lossMs` costs, on simulated time: the real rounds of polls, evaluation and transfers, with
// servers that are a few numbers. A day takes about a second.
//   loss_table [DAYS]   10 simulated days for each figure unless told otherwise
#include "protection/pair_protection.hpp"
#include "protection/poll_round.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;

constexpr milliseconds cycle_period{250};
constexpr microseconds shortest_answer{300};
constexpr microseconds longest_answer{3000};
constexpr microseconds refusal_time{300};
constexpr microseconds silence_time{350'000}; // when a poll without an answer is given up
constexpr microseconds latest_wake_up{1000};
constexpr hours day{24};
const std::string main_serial = "MAIN";
const std::string backup_serial = "BACKUP";

// How a poll ends that brings no answer.
enum class loss { silence, refusal };

protection_disk no_disk() {
    return {.load = [](saved_protection&, std::string&) {},
            .save = [](const saved_protection&) { return true; },
            .append = [](std::string_view) { return true; }};
}

server_health healthy(steady_time seen) {
    server_health health;
    health.reachable = true;
    health.supported = true;
    health.engineRunning = true;
    health.engineResponsive = true;
    health.telemetryAvailable = true;
    health.lastSeen = seen;
    health.outputs = "[]";
    return health;
}

// One workstation with a healthy pair, of whose polls some are lost.
class show {
public:
    // Asked before each poll: whether it is lost.
    using judge_of_polls = std::function<bool(pair_side side)>;

    show(std::uint32_t loss_ms, loss kind, std::uint64_t seed, judge_of_polls lost)
        : kind_(kind),
          lost_(std::move(lost)),
          registry_("nowhere/operator-control.json"),
          protection_(registry_, no_disk()),
          chance_(seed) {
        registry_.merge_discovered(
            {{"10.0.0.1", 5000, "Main", main_serial}, {"10.0.0.2", 5000, "Backup", backup_serial}},
            now_);
        registry_.configure(true, main_serial, backup_serial);
        protection_policy policy;
        policy.lossMs = loss_ms;
        policy.startupMs = 1000;
        std::string error;
        protection_.replace_policy(policy, error);
        protection_.begin(now_);
    }

    steady_time now() const { return now_; }
    // The age of Main's last good answer when it was last judged.
    milliseconds age_of_main() const {
        return std::chrono::round<milliseconds>(judged_ - main_answered_);
    }
    int lost_in_a_row() const { return lost_in_a_row_; }
    bool on_backup() const { return registry_.active_role() == "backup"; }

    void cycle() {
        const steady_time start = now_;
        const auto target = first_ ? poll_round::target::changed : poll_round::target::known;
        first_ = false;
        round_.begin(target, target, now_);
        do
            hear_both();
        while (!judge());
        const steady_time next = start + cycle_period;
        round_.rest(next);
        if (now_ < next) wake_up_at(next);
    }

    // Whether operation has moved since the last question. The operator returns as soon as Main is
    // ready.
    bool moved() {
        if (!away_ && !on_backup()) return false;
        std::string error;
        const bool newly = !std::exchange(away_, true);
        if (protection_.operate("main", both_clocks(), error)) away_ = false;
        return newly;
    }

private:
    struct poll_under_way {
        steady_time ends;
        bool answered = false;
    };

    moment both_clocks() const {
        return {.steady = now_, .wall_ms = milliseconds_between({}, now_)};
    }

    microseconds between(microseconds least, microseconds most) {
        std::uniform_int_distribution<std::int64_t> any(least.count(), most.count());
        return microseconds(any(chance_));
    }

    // No thread runs at the exact moment for which it asked.
    void wake_up_at(steady_time time) { now_ = time + between(microseconds(0), latest_wake_up); }

    std::optional<poll_under_way>& at(pair_side side) {
        return polls_[side == pair_side::main ? 0 : 1];
    }

    void ask(pair_side side) {
        const bool lost = lost_(side);
        if (side == pair_side::main) lost_in_a_row_ = lost ? lost_in_a_row_ + 1 : 0;
        const microseconds lost_time = kind_ == loss::silence ? silence_time : refusal_time;
        const microseconds length = lost ? lost_time : between(shortest_answer, longest_answer);
        at(side) = poll_under_way{.ends = now_ + length, .answered = !lost};
        round_.asked(side, now_);
    }

    void take(pair_side side) {
        std::optional<poll_under_way>& poll = at(side);
        if (!poll || poll->ends > now_) return;
        const bool answered = poll->answered;
        if (answered && side == pair_side::main) main_answered_ = poll->ends;
        round_.ended(side, answered ? poll_outcome::answered : poll_outcome::unanswered);
        protection_.note_health(side == pair_side::main ? main_serial : backup_serial,
                                answered ? std::optional(healthy(poll->ends)) : std::nullopt);
        poll.reset();
    }

    void hear_both() {
        while (true) {
            round_.look(now_);
            if (round_.may_judge()) return;
            for (const pair_side side : {pair_side::main, pair_side::backup})
                if (round_.wants_poll(side, now_)) ask(side);
            steady_time until = round_.rest_until();
            for (const std::optional<poll_under_way>& poll : polls_)
                if (poll) until = std::min(until, poll->ends);
            wake_up_at(std::max(until, now_));
            for (const pair_side side : {pair_side::main, pair_side::backup})
                take(side);
        }
    }

    bool judge() {
        round_.look(now_);
        if (!round_.may_judge()) return false;
        protection_.evaluate_cycle(both_clocks(), round_.trouble());
        round_.judged();
        judged_ = now_;
        return true;
    }

    loss kind_;
    judge_of_polls lost_;
    controller_registry registry_;
    pair_protection protection_;
    poll_round round_;
    std::mt19937_64 chance_;
    std::array<std::optional<poll_under_way>, 2> polls_; // Main, Backup
    steady_time now_{hours(1)};
    steady_time judged_;
    steady_time main_answered_;
    int lost_in_a_row_ = 0;
    bool first_ = true;
    bool away_ = false;
};

struct edge {
    std::set<std::int64_t> ages_ms; // of Main's last good answer when operation moved
    int survived = 1000;            // polls in a row that may be lost without a transfer
};

// Main falls silent for good, many times.
edge find_edge(std::uint32_t loss_ms, loss kind) {
    edge found;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        bool broken = false;
        show stage(loss_ms, kind, seed,
                   [&](pair_side side) { return broken && side == pair_side::main; });
        for (int healthy_cycles = 0; healthy_cycles < 20; ++healthy_cycles)
            stage.cycle();
        broken = true;
        while (!stage.on_backup())
            stage.cycle();
        found.ages_ms.insert(stage.age_of_main().count());
        found.survived = std::min(found.survived, stage.lost_in_a_row() - 1);
    }
    return found;
}

double needless_a_day(std::uint32_t loss_ms, double share, int days) {
    std::mt19937_64 chance{7};
    std::bernoulli_distribution lost(share);
    show stage(loss_ms, loss::silence, 1, [&](pair_side) { return lost(chance); });
    const steady_time end = stage.now() + days * day;
    std::uint64_t moves = 0;
    while (stage.now() < end) {
        stage.cycle();
        if (stage.moved()) ++moves;
    }
    return static_cast<double>(moves) / days;
}

// 600 and 601 are one moment; 600 and 950 are two.
std::string moments(const std::set<std::int64_t>& ages_ms) {
    std::string text;
    std::int64_t last = -1000;
    for (const std::int64_t age : ages_ms) {
        if (age - last > 50) text += (text.empty() ? "" : " or ") + std::to_string(age);
        last = age;
    }
    return text;
}

void print_row(std::uint32_t loss_ms, int days) {
    const edge silence = find_edge(loss_ms, loss::silence);
    const edge refusal = find_edge(loss_ms, loss::refusal);
    std::printf("| %u | %s | %s | %d |", loss_ms, moments(silence.ages_ms).c_str(),
                moments(refusal.ages_ms).c_str(), silence.survived);
    for (const double share : {0.001, 0.01, 0.05})
        std::printf(" %.1f |", needless_a_day(loss_ms, share, days));
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

void print_table(int days) {
    std::puts("| `lossMs` | silence fires after | a refusal fires after | polls in a row "
              "| 0.1 % | 1 % | 5 % |");
    for (const std::uint32_t loss_ms : {500U, 600U, 650U, 950U, 1000U, 1300U, 1500U, 2000U})
        print_row(loss_ms, days);
}

} // namespace elvantris::operator_control

int main(int argc, char** argv) {
    const int days = argc > 1 ? std::atoi(argv[1]) : 10;
    if (days < 1 || days > 1000) {
        std::fputs("usage: loss_table [DAYS]\n", stderr);
        return 2;
    }
    elvantris::operator_control::print_table(days);
    return 0;
}
