#include "protection/server_poller.hpp"

#include "integration/support/eventually.hpp"
#include "integration/support/failing_memory.hpp"
#include "integration/support/scripted_peer.hpp"

#include <gtest/gtest.h>

#include <new>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

std::string health_of(const std::string& serial, std::size_t padding = 0) {
    return http_reply_text(200, R"({"serial":")" + serial + R"(","version":1})" +
                                    std::string(padding, ' '));
}

poll_order order_for(const scripted_peer& peer, const std::string& serial) {
    system_record system;
    system.serial = serial;
    system.address = "127.0.0.1";
    system.webPort = peer.port();
    return {.system = system, .stall_ms = 1500};
}

// What the poll of this side has ended with.
std::optional<finished_order> result_of(server_poller& poller, pair_side side) {
    const steady_time deadline = steady_now() + patience;
    std::optional<finished_order> finished = poller.take(side);
    while (!finished && steady_now() < deadline) {
        poller.wait_until(deadline);
        finished = poller.take(side);
    }
    return finished;
}

void expect_answer(const std::optional<finished_order>& finished, const std::string& serial) {
    ASSERT_TRUE(finished);
    EXPECT_EQ(finished->serial, serial);
    EXPECT_EQ(finished->answer.outcome, poll_outcome::answered);
    EXPECT_TRUE(finished->answer.health);
}

const peer_script silence = [](peer_connection& connection) { connection.hang(); };

} // namespace

TEST(server_poller, gives_each_side_its_own_answer_once) {
    const scripted_peer main(replies(health_of("M1")));
    const scripted_peer backup(replies(health_of("B1")));
    server_poller poller;
    poller.start();
    for (int round = 0; round < 3; ++round) {
        poller.ask(pair_side::main, order_for(main, "M1"));
        poller.ask(pair_side::backup, order_for(backup, "B1"));
        expect_answer(result_of(poller, pair_side::backup), "B1");
        expect_answer(result_of(poller, pair_side::main), "M1");
        EXPECT_FALSE(poller.take(pair_side::main));
    }
}

TEST(server_poller, waits_for_one_side_without_the_other) {
    const scripted_peer main(silence);
    const scripted_peer backup(replies(health_of("B1")));
    server_poller poller;
    poller.start();
    poller.ask(pair_side::main, order_for(main, "M1"));
    // Main uses up its time in each of these rounds.
    ASSERT_TRUE(in_time([&] {
        poller.ask(pair_side::backup, order_for(backup, "B1"));
        expect_answer(result_of(poller, pair_side::backup), "B1");
        const bool main_still_asked = !poller.take(pair_side::main);
        if (!main_still_asked) poller.ask(pair_side::main, order_for(main, "M1"));
        return main_still_asked;
    }));
    const auto silent = result_of(poller, pair_side::main);
    ASSERT_TRUE(silent);
    EXPECT_EQ(silent->answer.outcome, poll_outcome::unanswered);
}

TEST(server_poller, returns_at_the_time_it_is_told_where_nothing_has_ended) {
    server_poller poller;
    poller.start();
    const steady_time until = steady_now() + 30ms;
    poller.wait_until(until);
    EXPECT_GE(steady_now(), until);
}

TEST(server_poller, stops_while_a_poll_hangs_and_starts_again_without_its_result) {
    const scripted_peer main(silence);
    const scripted_peer backup(replies(health_of("B1")));
    server_poller poller;
    poller.start();
    poller.ask(pair_side::main, order_for(main, "M1"));
    ASSERT_TRUE(eventually([&] { return main.connections() == 1; }));
    poller.stop();
    poller.stop();
    poller.start();
    EXPECT_FALSE(poller.take(pair_side::main));
    poller.ask(pair_side::backup, order_for(backup, "B1"));
    expect_answer(result_of(poller, pair_side::backup), "B1");
}

TEST(server_poller, stops_where_it_was_never_started_or_has_nothing_to_do) {
    server_poller idle;
    idle.stop();
    idle.start();
    idle.stop();
}

TEST(server_poller, takes_a_poll_that_throws_for_one_that_could_not_be_made) {
    const scripted_peer main(replies(health_of("M1", 200'000)));
    const scripted_peer backup(replies(health_of("B1")));
    server_poller poller;
    poller.start();
    {
        const no_large_memory memory(100'000);
        poller.ask(pair_side::main, order_for(main, "M1"));
        const auto finished = result_of(poller, pair_side::main);
        ASSERT_TRUE(finished);
        EXPECT_EQ(finished->serial, "M1");
        EXPECT_EQ(finished->answer.outcome, poll_outcome::no_resources);
        poller.ask(pair_side::backup, order_for(backup, "B1"));
        expect_answer(result_of(poller, pair_side::backup), "B1");
    }
    poller.ask(pair_side::main, order_for(main, "M1"));
    expect_answer(result_of(poller, pair_side::main), "M1");
}

TEST(server_poller, starts_both_of_its_threads_or_none) {
    const scripted_peer backup(replies(health_of("B1")));
    server_poller poller;
    for (const int threads : {0, 1}) {
        const failing_memory memory(threads); // one piece for each
        EXPECT_THROW(poller.start(), std::bad_alloc);
    }
    poller.start();
    poller.ask(pair_side::backup, order_for(backup, "B1"));
    expect_answer(result_of(poller, pair_side::backup), "B1");
}
