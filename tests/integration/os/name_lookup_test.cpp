#include "os/name_lookup.hpp"

#include "integration/support/eventually.hpp"
#include "integration/support/failing_memory.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

host_query query_for(const std::string& host) {
    return {.host = host, .port = 80, .family = address_family::any, .kind = transport::tcp};
}

// A resolver that answers no question until it is told to, and counts them. Its threads may live
// longer than a test, and so what they use is shared with them.
class held_resolver {
public:
    name_lookup::resolver function() const {
        return [state = state_](const host_query& query) {
            ++state->questions;
            while (state->holds)
                std::this_thread::sleep_for(1ms);
            return look_up_address("127.0.0.9", query.port, query.family, query.kind,
                                   host_text::numeric);
        };
    }
    void answer() const { state_->holds = false; }
    int questions() const { return state_->questions; }

private:
    struct shared {
        std::atomic<bool> holds = true;
        std::atomic<int> questions = 0;
    };
    std::shared_ptr<shared> state_ = std::make_shared<shared>();
};

void expect_none(const resolve_attempt& attempt, network_failure failure) {
    EXPECT_TRUE(attempt.addresses.empty());
    EXPECT_EQ(attempt.failure, failure);
}

const call_limits little_time() {
    return call_limits{}.within(50ms);
}

} // namespace

TEST(name_lookup, gives_what_the_resolver_says) {
    const held_resolver resolver;
    resolver.answer();
    name_lookup names(resolver.function());
    EXPECT_EQ(names.find(query_for("desk"), {}).addresses.size(), 1U);
}

TEST(name_lookup, leaves_a_resolver_that_does_not_answer_when_its_time_is_over) {
    const held_resolver resolver;
    name_lookup names(resolver.function());
    const steady_time begun = steady_now();
    expect_none(names.find(query_for("desk"), little_time()), network_failure::unanswered);
    EXPECT_LT(steady_now() - begun, 3s);
    resolver.answer();
}

TEST(name_lookup, leaves_a_resolver_when_nobody_wants_the_answer_any_more) {
    const held_resolver resolver;
    name_lookup names(resolver.function());
    int asked = 0;
    expect_none(names.find(query_for("desk"), {.given_up = [&] { return ++asked > 2; }}),
                network_failure::unanswered);
    resolver.answer();
}

TEST(name_lookup, asks_once_for_a_name_whose_answer_is_still_to_come) {
    const held_resolver resolver;
    name_lookup names(resolver.function());
    for (int i = 0; i < 3; ++i)
        expect_none(names.find(query_for("desk"), little_time()), network_failure::unanswered);
    std::atomic<bool> waits = false;
    const call_limits noticed{.given_up = [&] {
        waits = true;
        return false;
    }};
    std::thread last(
        [&] { EXPECT_EQ(names.find(query_for("desk"), noticed).addresses.size(), 1U); });
    EXPECT_TRUE(eventually([&] { return waits.load(); }));
    resolver.answer();
    last.join();
    EXPECT_EQ(resolver.questions(), 1);
    EXPECT_EQ(names.find(query_for("desk"), {}).addresses.size(), 1U);
    EXPECT_EQ(resolver.questions(), 2) << "an answer is not kept";
}

TEST(name_lookup, looks_8_names_up_at_once_and_refuses_the_next_without_waiting) {
    const held_resolver resolver;
    name_lookup names(resolver.function());
    for (int i = 0; i < 8; ++i)
        expect_none(names.find(query_for("desk-" + std::to_string(i)), little_time()),
                    network_failure::unanswered);
    EXPECT_TRUE(eventually([&] { return resolver.questions() == 8; }));
    expect_none(names.find(query_for("one-more"), {}), network_failure::no_resources);
    EXPECT_EQ(resolver.questions(), 8);
    resolver.answer();
    EXPECT_TRUE(
        eventually([&] { return !names.find(query_for("one-more"), {}).addresses.empty(); }));
}

TEST(name_lookup, could_not_ask_where_the_resolver_throws) {
    name_lookup names([](const host_query&) -> resolve_attempt { throw std::bad_alloc(); });
    expect_none(names.find(query_for("desk"), {}), network_failure::no_resources);
}

TEST(name_lookup, could_not_ask_where_there_is_no_memory_for_a_thread) {
    const held_resolver resolver;
    resolver.answer();
    name_lookup names(resolver.function());
    int refused = 0;
    bool enough = false;
    for (int pieces = 0; !enough; ++pieces) {
        ASSERT_LT(pieces, 100);
        const host_query query = query_for("desk");
        const failing_memory memory(pieces);
        try {
            const resolve_attempt attempt = names.find(query, {});
            enough = !attempt.addresses.empty();
            if (!enough && attempt.failure == network_failure::no_resources) ++refused;
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(memory.exhausted());
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(name_lookup, may_go_before_its_resolver_has_answered) {
    const held_resolver resolver;
    {
        name_lookup names(resolver.function());
        names.find(query_for("desk"), little_time());
    }
    resolver.answer();
}
