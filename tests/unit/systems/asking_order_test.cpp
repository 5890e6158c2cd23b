#include "systems/asking_order.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

// Rounds with the time for so many questions; what each has asked, in its order.
class asking_rounds {
public:
    std::string ask(const std::vector<asking_order::server>& servers, int time_for) {
        std::string asked;
        const call_limits limits{.given_up = [&] { return time_for <= 0; }};
        order_.ask_each(servers, limits, [&](std::size_t place) {
            asked += servers[place].key;
            --time_for;
        });
        return asked;
    }

private:
    asking_order order_;
};

} // namespace

TEST(asking_order, begins_the_next_round_with_whom_the_last_one_left_over) {
    const std::vector<asking_order::server> servers{{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}};
    asking_rounds rounds;
    EXPECT_EQ(rounds.ask(servers, 9), "abcd");
    // The one at which the time was over is asked again: it may not have had enough of it.
    EXPECT_EQ(rounds.ask(servers, 2), "ab");
    EXPECT_EQ(rounds.ask(servers, 3), "bcd");
    EXPECT_EQ(rounds.ask(servers, 9), "dabc");
    EXPECT_EQ(rounds.ask(servers, 0), "");
    EXPECT_EQ(rounds.ask({}, 9), "");
}

TEST(asking_order, goes_on_though_each_server_uses_up_a_whole_round) {
    const std::vector<asking_order::server> servers{{"a", "1"}, {"b", "2"}, {"c", "3"}};
    asking_rounds rounds;
    std::string asked;
    for (int i = 0; i < 6; ++i)
        asked += rounds.ask(servers, 1);
    EXPECT_EQ(asked, "abcabc");
}

TEST(asking_order, asks_a_newcomer_first_and_one_of_each_address_before_any_second) {
    std::vector<asking_order::server> servers{{"a", "1"}, {"b", "1"}, {"c", "1"}, {"d", "2"}};
    asking_rounds rounds;
    EXPECT_EQ(rounds.ask(servers, 2), "ad");
    servers.push_back({"e", "3"});
    EXPECT_EQ(rounds.ask(servers, 9), "debca");
}
