#include "protection/poll_round.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <utility>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

using ms = milliseconds;
constexpr steady_time t0{1h};

// What a server makes of the poll that is asked then: its answer's latency, or absent for none.
using server_script = std::function<std::optional<ms>(steady_time asked)>;

server_script answers_in(ms latency) {
    return [latency](steady_time) { return latency; };
}

struct standstill {
    steady_time from;
    steady_time until;
};

// The monitor's loop over two simulated servers in simulated time.
class simulation {
public:
    simulation(server_script main, server_script backup) {
        servers_[0].script = std::move(main);
        servers_[1].script = std::move(backup);
    }

    // The program does nothing in this time, and finds afterwards what has come meanwhile.
    void stop_for(standstill stopped) { pauses_.push_back(stopped); }
    // What a pause does to the polls that are under way: their answers are read, or are lost.
    void lose_polls_in_pauses() { polls_survive_ = false; }

    void run_until(steady_time end) {
        while (now_ < end)
            cycle();
    }
    // The longest silence of a server that any cycle has judged.
    ms longest_silence(pair_side side) const { return at(side).longest_silence; }
    // The first cycle in which Main counted as lost and Backup as ready.
    std::optional<steady_time> moved_at(ms loss) const {
        for (std::size_t i = 0; i < judged_.size(); ++i)
            if (judged_[i].first >= loss && judged_[i].second <= loss) return judged_at_[i];
        return std::nullopt;
    }
    bool moved(ms loss) const { return moved_at(loss).has_value(); }
    std::size_t cycles() const { return judged_.size(); }
    std::size_t polls(pair_side side) const { return at(side).polls; }

private:
    struct simulated_server {
        server_script script;
        std::optional<steady_time> ends; // of the poll under way
        bool good = false;
        bool spoiled = false;
        steady_time seen = t0;
        ms longest_silence{0};
        std::size_t polls = 0;
    };
    const simulated_server& at(pair_side side) const {
        return servers_[side == pair_side::main ? 0 : 1];
    }
    simulated_server& at(pair_side side) { return servers_[side == pair_side::main ? 0 : 1]; }

    void pass_to(steady_time time) {
        now_ = std::max(now_, time);
        for (const standstill& stopped : pauses_)
            if (now_ >= stopped.from && now_ < stopped.until) {
                for (simulated_server& server : servers_)
                    server.spoiled |= server.ends && !polls_survive_;
                now_ = stopped.until;
            }
    }

    void cycle() {
        const steady_time start = now_;
        round_.begin(poll_round::target::known, poll_round::target::known, now_);
        do
            hear_both();
        while (!judge());
        round_.rest(start + 250ms);
        pass_to(start + 250ms);
    }

    void hear_both() {
        while (true) {
            round_.look(now_);
            if (round_.may_judge()) return;
            for (const pair_side side : {pair_side::main, pair_side::backup})
                if (round_.wants_poll(side, now_)) ask(side);
            steady_time next = round_.rest_until();
            for (const simulated_server& server : servers_)
                if (server.ends) next = std::min(next, *server.ends);
            pass_to(next);
            for (const pair_side side : {pair_side::main, pair_side::backup})
                take(side);
        }
    }

    void ask(pair_side side) {
        simulated_server& server = at(side);
        const std::optional<ms> latency = server.script(now_);
        server.good = latency.has_value();
        // The time-out, and what the system adds to it.
        server.ends = now_ + latency.value_or(351ms);
        server.spoiled = false;
        ++server.polls;
        round_.asked(side, now_);
    }

    void take(pair_side side) {
        simulated_server& server = at(side);
        if (!server.ends || *server.ends > now_) return;
        server.ends.reset();
        const bool answered = server.good && !server.spoiled;
        if (answered) server.seen = now_;
        round_.ended(side, answered ? poll_outcome::answered : poll_outcome::unanswered);
    }

    bool judge() {
        round_.look(now_);
        if (!round_.may_judge()) return false;
        std::array<ms, 2> ages{};
        for (std::size_t i = 0; i < 2; ++i) {
            ages[i] = std::chrono::duration_cast<ms>(now_ - servers_[i].seen);
            servers_[i].longest_silence = std::max(servers_[i].longest_silence, ages[i]);
        }
        judged_.emplace_back(ages[0], ages[1]);
        judged_at_.push_back(now_);
        round_.judged();
        return true;
    }

    poll_round round_;
    steady_time now_ = t0;
    std::array<simulated_server, 2> servers_;
    std::vector<standstill> pauses_;
    bool polls_survive_ = true;
    std::vector<std::pair<ms, ms>> judged_;
    std::vector<steady_time> judged_at_;
};

// Two polls in a row are lost, at any place of the row.
server_script loses_two(ms latency, std::size_t first_lost) {
    return [=, asked = std::size_t{0}](steady_time) mutable -> std::optional<ms> {
        const std::size_t index = asked++;
        if (index == first_lost || index == first_lost + 1) return std::nullopt;
        return latency;
    };
}

} // namespace

TEST(poll_round, asks_both_servers_every_250_ms_and_judges_what_they_said_at_once) {
    simulation healthy(answers_in(2ms), answers_in(3ms));
    healthy.run_until(t0 + 10s);
    EXPECT_EQ(healthy.cycles(), 40U);
    EXPECT_EQ(healthy.polls(pair_side::main), 40U);
    EXPECT_EQ(healthy.polls(pair_side::backup), 40U);
    EXPECT_EQ(healthy.longest_silence(pair_side::main), 1ms);
}

TEST(poll_round, lets_a_slow_server_eat_nothing_of_the_others_tolerance) {
    for (ms slow = 1ms; slow <= 700ms; slow += 3ms)
        for (std::size_t lost = 3; lost < 12; ++lost) {
            simulation main_loses(loses_two(2ms, lost), answers_in(slow));
            main_loses.run_until(t0 + 10s);
            EXPECT_LT(main_loses.longest_silence(pair_side::main), 1000ms) << slow.count();
            EXPECT_LE(main_loses.longest_silence(pair_side::backup), 700ms) << slow.count();
            simulation backup_loses(answers_in(slow), loses_two(2ms, lost));
            backup_loses.run_until(t0 + 10s);
            EXPECT_LT(backup_loses.longest_silence(pair_side::backup), 1000ms) << slow.count();
            EXPECT_LE(backup_loses.longest_silence(pair_side::main), 700ms) << slow.count();
        }
}

TEST(poll_round, asks_a_fast_server_four_times_a_second_beside_a_slow_one) {
    for (ms slow = 1ms; slow <= 700ms; slow += 3ms) {
        simulation slow_backup(answers_in(2ms), answers_in(slow));
        slow_backup.run_until(t0 + 10s);
        EXPECT_LE(slow_backup.polls(pair_side::main), 43U) << slow.count();
        EXPECT_GE(slow_backup.polls(pair_side::main), 40U) << slow.count();
        simulation slow_main(answers_in(slow), answers_in(2ms));
        slow_main.run_until(t0 + 10s);
        EXPECT_LE(slow_main.polls(pair_side::backup), 43U) << slow.count();
        EXPECT_GE(slow_main.polls(pair_side::backup), 40U) << slow.count();
    }
}

TEST(poll_round, asks_a_fast_server_in_time_whatever_becomes_of_a_slow_one) {
    std::mt19937 random(1);
    for (int run = 0; run < 300; ++run) {
        steady_time last_asked = t0;
        ms longest_gap{0};
        simulation changing(
            [&](steady_time asked) {
                longest_gap =
                    std::max(longest_gap, std::chrono::duration_cast<ms>(asked - last_asked));
                last_asked = asked;
                return ms(2);
            },
            [&](steady_time) { return ms(1 + random() % 700); });
        changing.run_until(t0 + 20s);
        ASSERT_LE(longest_gap, 252ms) << "a poll that was under way between two cycles";
    }
}

TEST(poll_round, judges_nothing_that_was_asked_before_a_pause) {
    std::mt19937 random(1);
    const auto any = [&](int most) { return ms(random() % static_cast<unsigned>(most)); };
    for (int run = 0; run < 20'000; ++run) {
        const ms main_latency = 1ms + any(300);
        const ms backup_latency = 1ms + any(300);
        const ms loss = run % 2 == 0 ? 1000ms : 750ms;
        const steady_time from = t0 + 2s + any(1500);
        const ms length = run % 3 == 0 ? any(400) : any(5000);
        simulation stopped(answers_in(main_latency), answers_in(backup_latency));
        if (run % 5 != 0) stopped.lose_polls_in_pauses();
        stopped.stop_for({.from = from, .until = from + length});
        stopped.run_until(t0 + 12s);
        ASSERT_FALSE(stopped.moved(loss))
            << "Main " << main_latency.count() << ", Backup " << backup_latency.count() << ", at "
            << (from - t0) / 1ms << " for " << length.count();
    }
}

TEST(poll_round, survives_a_lost_poll_behind_a_pause) {
    for (ms phase = 0ms; phase < 500ms; phase += 3ms)
        for (const bool of_main : {true, false}) {
            const steady_time from = t0 + 2s + phase;
            const steady_time until = from + 3s;
            bool lost = false;
            const server_script loses_the_first = [&](steady_time asked) -> std::optional<ms> {
                if (asked >= until && !std::exchange(lost, true)) return std::nullopt;
                return 2ms;
            };
            simulation stopped(of_main ? loses_the_first : answers_in(2ms),
                               of_main ? answers_in(2ms) : loses_the_first);
            stopped.lose_polls_in_pauses();
            stopped.stop_for({.from = from, .until = until});
            stopped.run_until(t0 + 12s);
            ASSERT_TRUE(lost);
            EXPECT_LT(stopped.longest_silence(pair_side::main), 1000ms) << phase.count();
            EXPECT_LT(stopped.longest_silence(pair_side::backup), 1000ms) << phase.count();
        }
}

TEST(poll_round, survives_a_lost_poll_behind_each_of_two_pauses) {
    const standstill first{.from = t0 + 2s, .until = t0 + 3s};
    for (ms between = 1ms; between < 800ms; ++between) {
        const standstill second{.from = first.until + between, .until = first.until + between + 3s};
        bool first_lost = false;
        bool second_lost = false;
        simulation stopped(
            [&](steady_time asked) -> std::optional<ms> {
                if (asked >= first.until && !std::exchange(first_lost, true)) return std::nullopt;
                if (asked >= second.until && !std::exchange(second_lost, true)) return std::nullopt;
                return 2ms;
            },
            answers_in(2ms));
        stopped.lose_polls_in_pauses();
        stopped.stop_for(first);
        stopped.stop_for(second);
        stopped.run_until(t0 + 12s);
        ASSERT_TRUE(first_lost && second_lost);
        EXPECT_LT(stopped.longest_silence(pair_side::main), 1000ms) << between.count();
    }
}

TEST(poll_round, repeats_a_lost_poll_behind_a_pause_also_after_one_that_lacked_resources) {
    poll_round round;
    round.begin(poll_round::target::known, poll_round::target::known, t0); // it has never looked
    round.asked(pair_side::main, t0);
    round.asked(pair_side::backup, t0);
    round.ended(pair_side::backup, poll_outcome::answered);
    round.ended(pair_side::main, poll_outcome::no_resources);
    ASSERT_TRUE(round.wants_poll(pair_side::main, t0 + 50ms));
    round.asked(pair_side::main, t0 + 50ms);
    round.ended(pair_side::main, poll_outcome::unanswered);
    EXPECT_FALSE(round.may_judge());
    ASSERT_TRUE(round.wants_poll(pair_side::main, t0 + 450ms));
    round.asked(pair_side::main, t0 + 450ms);
    round.ended(pair_side::main, poll_outcome::unanswered);
    EXPECT_TRUE(round.may_judge());
}

TEST(poll_round, finds_a_main_that_died_in_a_pause_with_two_polls) {
    const steady_time from = t0 + 2s + 100ms;
    simulation stopped(
        [from](steady_time asked) -> std::optional<ms> {
            if (asked >= from) return std::nullopt;
            return 2ms;
        },
        answers_in(2ms));
    stopped.stop_for({.from = from, .until = from + 3s});
    stopped.run_until(from + 3s + 750ms);
    ASSERT_TRUE(stopped.moved(1000ms));
    EXPECT_LE(*stopped.moved_at(1000ms), from + 3s + 710ms);
}

TEST(poll_round, judges_in_the_end_however_often_the_program_is_stopped) {
    simulation stopped(answers_in(2ms), answers_in(300ms));
    for (steady_time from = t0; from < t0 + 60s; from += 400ms)
        stopped.stop_for({.from = from, .until = from + 250ms});
    stopped.run_until(t0 + 60s);
    EXPECT_GE(stopped.cycles(), 30U);
}

TEST(poll_round, polls_again_after_three_pauses_of_one_cycle_and_no_more) {
    poll_round round;
    const auto both_answer_at = [&](steady_time asked) {
        for (const pair_side side : {pair_side::main, pair_side::backup}) {
            round.asked(side, asked);
            round.ended(side, poll_outcome::answered);
        }
    };
    round.begin(poll_round::target::changed, poll_round::target::changed, t0);
    both_answer_at(t0);
    round.judged();
    round.begin(poll_round::target::known, poll_round::target::known, t0 + 50ms);
    for (steady_time now = t0 + 1s; now <= t0 + 3s; now += 1s) {
        both_answer_at(now - 900ms);
        EXPECT_TRUE(round.may_judge());
        round.look(now);
        EXPECT_FALSE(round.may_judge()) << "what was asked before the pause";
    }
    both_answer_at(t0 + 3100ms);
    round.look(t0 + 4s);
    EXPECT_TRUE(round.may_judge());
}

TEST(poll_round, gives_the_other_server_a_chance_to_come_back_too) {
    const auto silent_until = [](steady_time back) {
        return [back](steady_time asked) -> std::optional<ms> {
            if (asked > t0 + 2s && asked < back) return std::nullopt;
            return 2ms;
        };
    };
    for (ms later = 0ms; later <= 300ms; later += 5ms)
        for (ms silence = 300ms; silence <= 4s; silence += 37ms) {
            const steady_time back = t0 + 2s + silence;
            simulation returning(silent_until(back + later), silent_until(back));
            returning.run_until(t0 + 10s);
            EXPECT_FALSE(returning.moved(1000ms)) << later.count() << ' ' << silence.count();
        }
}

TEST(poll_round, moves_as_soon_as_ever_where_main_alone_falls_silent) {
    const auto dies = [](steady_time asked) -> std::optional<ms> {
        if (asked > t0 + 2s) return std::nullopt;
        return 2ms;
    };
    simulation dying(dies, answers_in(2ms));
    dying.run_until(t0 + 2952ms);
    EXPECT_FALSE(dying.moved(1000ms)) << "two polls lost";
    dying.run_until(t0 + 2953ms);
    EXPECT_TRUE(dying.moved(1000ms)) << "the third";
}

// A dead Main makes each cycle last as long as its poll. That is no pause of the program, and what
// Backup has said meanwhile is not asked for once more.
TEST(poll_round, moves_in_time_whatever_backups_answer_takes) {
    for (ms latency = 1ms; latency <= 700ms; latency += 7ms)
        for (ms phase = 0ms; phase < 1000ms; phase += 19ms) {
            const steady_time death = t0 + 2000ms + phase;
            simulation dying(
                [death](steady_time asked) -> std::optional<ms> {
                    if (asked > death) return std::nullopt;
                    return 2ms;
                },
                answers_in(latency));
            dying.run_until(death + 1700ms);
            ASSERT_TRUE(dying.moved(1000ms)) << latency.count() << ' ' << phase.count();
            ASSERT_LT(*dying.moved_at(1000ms), death + (latency < 340ms ? 1400ms : 1700ms))
                << latency.count() << ' ' << phase.count();
        }
}

namespace {

// A cycle in which both were asked and have failed like this.
poll_round after(poll_outcome main, poll_outcome backup) {
    poll_round round;
    round.begin(poll_round::target::changed, poll_round::target::changed, t0);
    for (const pair_side side : {pair_side::main, pair_side::backup})
        round.asked(side, t0);
    round.ended(pair_side::main, main);
    round.ended(pair_side::backup, backup);
    return round;
}

} // namespace

TEST(poll_round, holds_operation_where_the_workstation_alone_is_to_blame) {
    struct blame {
        poll_outcome main;
        poll_outcome backup;
        bool holds;
        bool lacks;
    };
    constexpr auto answered = poll_outcome::answered;
    constexpr auto unanswered = poll_outcome::unanswered;
    constexpr auto no_network = poll_outcome::no_network;
    constexpr auto no_resources = poll_outcome::no_resources;
    const std::vector<blame> cases{
        {answered, answered, false, false},     {unanswered, unanswered, false, false},
        {unanswered, answered, false, false},   {no_network, answered, false, false},
        {no_network, unanswered, false, false}, {no_network, no_network, true, false},
        {no_resources, answered, true, true},   {unanswered, no_resources, false, true},
        {no_network, no_resources, true, true}, {no_resources, no_resources, true, true},
    };
    for (const blame& each : cases) {
        const workstation_trouble trouble = after(each.main, each.backup).trouble();
        EXPECT_EQ(trouble.holds_operation, each.holds);
        EXPECT_EQ(trouble.lacks_resources, each.lacks);
    }
}

TEST(poll_round, asks_anew_where_the_lock_came_late_and_judges_nothing_of_before) {
    poll_round round = after(poll_outcome::answered, poll_outcome::answered);
    round.look(t0 + 150ms);
    EXPECT_TRUE(round.may_judge()) << "a busy machine's delay";
    round = after(poll_outcome::answered, poll_outcome::answered);
    const steady_time late = t0 + 151ms;
    round.look(late);
    EXPECT_FALSE(round.may_judge());
    for (const pair_side side : {pair_side::main, pair_side::backup}) {
        ASSERT_TRUE(round.wants_poll(side, late));
        round.asked(side, late);
        EXPECT_FALSE(round.may_judge());
        round.ended(side, poll_outcome::answered);
    }
    EXPECT_TRUE(round.may_judge());
}

TEST(poll_round, repeats_a_poll_for_which_the_means_were_lacking_and_then_goes_on) {
    poll_round round = after(poll_outcome::no_resources, poll_outcome::answered);
    int repeats = 0;
    for (steady_time now = t0; !round.may_judge(); now += 10ms) {
        round.look(now);
        ASSERT_LT(now, t0 + 1s);
        EXPECT_FALSE(round.wants_poll(pair_side::backup, now));
        if (!round.wants_poll(pair_side::main, now)) continue;
        ++repeats;
        round.asked(pair_side::main, now);
        round.ended(pair_side::main, poll_outcome::no_resources);
    }
    EXPECT_EQ(repeats, 3);
}

TEST(poll_round, counts_no_poll_of_another_server_that_was_still_under_way) {
    poll_round round;
    round.begin(poll_round::target::changed, poll_round::target::none, t0);
    round.asked(pair_side::main, t0);
    round.begin(poll_round::target::changed, poll_round::target::none, t0 + 20ms);
    EXPECT_FALSE(round.wants_poll(pair_side::main, t0 + 20ms)) << "one at a time";
    round.ended(pair_side::main, poll_outcome::answered);
    EXPECT_FALSE(round.may_judge());
    EXPECT_TRUE(round.wants_poll(pair_side::main, t0 + 20ms));
}

TEST(poll_round, asks_another_server_at_once_whatever_the_former_one_was_asked_ahead) {
    poll_round round;
    round.begin(poll_round::target::changed, poll_round::target::changed, t0);
    round.asked(pair_side::main, t0);
    round.asked(pair_side::backup, t0);
    round.ended(pair_side::backup, poll_outcome::answered);
    for (ms passed{}; passed <= 250ms; passed += 50ms)
        round.look(t0 + passed);
    ASSERT_TRUE(round.wants_poll(pair_side::backup, t0 + 250ms)) << "Main is slow";
    round.asked(pair_side::backup, t0 + 250ms);
    round.ended(pair_side::backup, poll_outcome::answered);
    round.ended(pair_side::main, poll_outcome::answered);
    ASSERT_TRUE(round.may_judge());
    round.judged();
    round.begin(poll_round::target::known, poll_round::target::known, t0 + 300ms);
    EXPECT_FALSE(round.wants_poll(pair_side::backup, t0 + 300ms)) << "it was asked just now";
    round.begin(poll_round::target::known, poll_round::target::changed, t0 + 300ms);
    EXPECT_TRUE(round.wants_poll(pair_side::backup, t0 + 300ms));
}

TEST(poll_round, takes_nobody_for_silent_before_the_first_cycle) {
    poll_round round;
    round.begin(poll_round::target::known, poll_round::target::known, t0);
    round.asked(pair_side::main, t0);
    round.ended(pair_side::main, poll_outcome::answered);
    for (int polls = 0; polls < 2; ++polls) {
        EXPECT_FALSE(round.may_judge());
        round.asked(pair_side::backup, t0);
        round.ended(pair_side::backup, poll_outcome::unanswered);
    }
    EXPECT_TRUE(round.may_judge());
}

TEST(poll_round, has_nothing_to_wait_for_without_anybody_to_ask) {
    poll_round round;
    round.begin(poll_round::target::none, poll_round::target::none, t0);
    EXPECT_TRUE(round.may_judge());
}
