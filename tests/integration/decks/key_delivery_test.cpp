// What becomes of a key, and of the session as a whole.
#include "integration/support/failing_memory.hpp"
#include "managed_decks.hpp"

using namespace elvantris::operator_control;

namespace {

class key_delivery : public managed_decks {
protected:
    // A key finds its way into the queue while a server keeps the manager waiting.
    bool presses_at_once_while(const deck_server& server, const std::string& kind) {
        EXPECT_TRUE(eventually([&] { return server.is_holding(kind); })) << kind;
        const steady_time begun = steady_now();
        decks.press("D", 9, true);
        return milliseconds_between(begun, steady_now()) < 250;
    }
    // Returns when no call waits any more.
    static void let_go(deck_server& server, const std::string& kind) {
        server.hold(kind, false);
        EXPECT_TRUE(eventually([&] { return !server.is_holding(kind); })) << kind;
    }
};

// The first call of this kind behind that moment.
steady_time wait_for_call_after(steady_time moment, const deck_server& server,
                                const std::string& kind) {
    steady_time found = moment;
    EXPECT_TRUE(eventually([&] {
        const std::vector<steady_time> times = server.times(kind);
        const auto next = std::ranges::upper_bound(times, moment);
        if (next != times.end()) found = *next;
        return next != times.end();
    })) << kind;
    return found;
}

// A server notes a call a little later than the program's time-out for it begins.
bool is_about(int limit, steady_time from, steady_time to) {
    const auto taken = milliseconds_between(from, to);
    return taken >= limit - 100 && taken < limit + 300;
}

using texts = std::vector<std::string>;

} // namespace

TEST_F(key_delivery, goes_to_both_members_of_a_pair_in_the_order_of_the_keys) {
    know({"M", "B", "I"});
    make_ready({"I"});
    start();
    wait_for_passes(1);
    texts expected;
    for (const auto& [key, down] : std::vector<std::pair<int, bool>>{
             {3, true}, {3, false}, {0, true}, {3, true}, {0, false}}) {
        decks.press("D \"1", key, down);
        expected.push_back(key_event("D \\\"1", key, down));
    }
    ASSERT_TRUE(backup.wait_for(expected.back()));
    EXPECT_EQ(main.calls("KeyEvent"), expected);
    EXPECT_EQ(backup.calls("KeyEvent"), expected);
    EXPECT_EQ(independent.calls("KeyEvent"), texts{});
    EXPECT_EQ(log.error(), "");
}

// Before, the state polls alone would have taken 1.5 s for each server, and each key 0.6 s.
TEST_F(key_delivery, keeps_the_end_of_the_program_waiting_for_no_server_that_hangs) {
    start();
    wait_for_passes(1);
    for (deck_server* server : {&main, &backup})
        for (const std::string kind : {"State", "KeyEvent", "Detach"})
            server->hold(kind, true);
    for (int key = 0; key < 20; ++key)
        decks.press("D", key, true);
    ASSERT_TRUE(eventually([&] { return main.is_holding("State"); }));
    const steady_time begun = steady_now();
    manager->stop();
    EXPECT_LT(milliseconds_between(begun, steady_now()), 1400);
    for (deck_server* server : {&main, &backup})
        for (const std::string kind : {"State", "KeyEvent", "Detach"})
            server->hold(kind, false);
}

TEST_F(key_delivery, reaches_both_while_backup_is_the_active_one) {
    move_to("B");
    start();
    wait_for_passes(1);
    decks.press("D", 1, true);
    EXPECT_TRUE(main.wait_for(key_event("D", 1, true)));
    EXPECT_TRUE(backup.wait_for(key_event("D", 1, true)));
}

TEST_F(key_delivery, tells_of_each_member_that_refuses_and_of_a_key_that_nobody_took) {
    start();
    wait_for_passes(1);
    backup.answer("KeyEvent", 500);
    decks.press("D", 7, true);
    wait_for_passes(2);
    std::string errors = "[streamdeck] key event delivery failed server=B deck=D key=7 down=true\n";
    EXPECT_EQ(log.error(), errors);
    main.answer("KeyEvent", 302);
    decks.press("D", 7, false);
    wait_for_passes(2);
    errors += "[streamdeck] key event delivery failed server=M deck=D key=7 down=false\n"
              "[streamdeck] key event delivery failed server=B deck=D key=7 down=false\n"
              "[streamdeck] key event was not accepted by any Elvantris server deck=D key=7 "
              "down=false\n";
    EXPECT_EQ(log.error(), errors);
    main.answer("KeyEvent", 204);
    backup.answer("KeyEvent", 200);
    wait_for_passes(2);
    EXPECT_EQ(main.calls("KeyEvent").size(), 2U) << "no key is sent again";
    decks.press("D", 7, true);
    EXPECT_TRUE(backup.wait_for(key_event("D", 7, true)));
    EXPECT_EQ(log.error(), errors);
}

TEST_F(key_delivery, goes_to_the_active_server_alone_without_a_pair_in_use) {
    registry.configure(false, "M", "B");
    start();
    wait_for_passes(1);
    decks.press("D", 2, true);
    ASSERT_TRUE(main.wait_for(key_event("D", 2, true)));
    wait_for_passes(1);
    EXPECT_EQ(backup.calls("KeyEvent"), texts{});
    EXPECT_EQ(log.error(), "");
    main.answer("KeyEvent", 404);
    decks.press("D", 2, false);
    wait_for_passes(2);
    EXPECT_EQ(log.error(), "[streamdeck] key event was not accepted by any Elvantris server "
                           "deck=D key=2 down=false\n");
    EXPECT_EQ(backup.calls("KeyEvent"), texts{});
}

TEST_F(key_delivery, is_not_accepted_where_no_member_of_the_pair_is_ready) {
    know({"M", "B", "I"});
    make_ready({"M", "B"}, false);
    make_ready({"I"});
    move_to("I");
    start();
    wait_for_passes(1);
    decks.press("D", 2, true);
    wait_for_passes(2);
    EXPECT_EQ(log.error(), "[streamdeck] key event was not accepted by any Elvantris server "
                           "deck=D key=2 down=true\n");
    EXPECT_EQ(independent.calls("KeyEvent"), texts{});
}

TEST_F(key_delivery, drops_a_key_without_an_active_server_and_says_nothing) {
    move_to("nobody");
    start();
    wait_for_passes(1);
    decks.press("D", 2, true);
    wait_for_passes(2);
    move_to("M");
    wait_for_passes(2);
    EXPECT_EQ(main.calls("KeyEvent"), texts{}) << "nothing is kept for later";
    EXPECT_EQ(log.error(), "");
    decks.press("D", 2, false);
    EXPECT_TRUE(main.wait_for(key_event("D", 2, false)));
}

TEST_F(key_delivery, waits_for_no_answer_longer_than_its_call_deserves) {
    start();
    show(main, R"({"generation":1,"changed":true,"decks":[{"serial":"A"},{"serial":"B"}]})");
    // Main keeps the call waiting: the one to Backup comes behind its time-out.
    for (const auto& [kind, limit] :
         std::map<std::string, int>{{"Register", 750}, {"State", 1500}, {"KeyEvent", 600}}) {
        EXPECT_TRUE(in_time([&] {
            main.hold(kind, true);
            if (kind == "KeyEvent") decks.press("D", 1, true);
            const bool at_once = presses_at_once_while(main, kind);
            const steady_time asked = main.times(kind).back();
            const steady_time next = wait_for_call_after(asked, backup, kind);
            let_go(main, kind);
            return at_once && is_about(limit, asked, next);
        })) << kind;
    }
    // One page behind the other, to the server that takes over.
    EXPECT_TRUE(in_time([&] {
        move_to("M");
        wait_for_passes(2);
        const std::size_t before = backup.times("SetPage").size();
        backup.hold("SetPage", true);
        move_to("B");
        const bool at_once = presses_at_once_while(backup, "SetPage");
        EXPECT_TRUE(eventually([&] { return backup.times("SetPage").size() == before + 2; }));
        let_go(backup, "SetPage");
        const std::vector<steady_time> times = backup.times("SetPage");
        return at_once && is_about(500, times[before], times[before + 1]);
    }));

    EXPECT_TRUE(in_time([&] {
        main.hold("Detach", true);
        manager->stop();
        const bool about =
            is_about(300, main.times("Detach").back(), backup.times("Detach").back());
        let_go(main, "Detach");
        start();
        return about;
    }));
}

TEST_F(key_delivery, goes_on_past_a_server_that_does_not_answer) {
    main.hold("State", true);
    start();
    ASSERT_TRUE(backup.wait_for("State 0")) << "behind Main's time-out";
    decks.press("D", 1, true);
    EXPECT_TRUE(backup.wait_for(key_event("D", 1, true)));
    EXPECT_EQ(log.error(), "");
    main.hold("State", false);
}

TEST_F(key_delivery, ends_with_taking_leave_of_every_ready_server) {
    know({"M", "B", "I"});
    make_ready({"I"});
    make_ready({"B"}, false);
    start();
    EXPECT_TRUE(manager->start()) << "once is enough";
    wait_for_passes(1);
    main.answer("Detach", 500); // which nobody minds
    manager->stop();
    EXPECT_EQ(main.calls().back(), detach_call());
    EXPECT_EQ(independent.calls(), (texts{register_call(), detach_call()}));
    EXPECT_EQ(backup.connections(), 0U);
    const std::size_t passes = decks.passes();
    manager->stop();
    manager.reset();
    EXPECT_EQ(main.calls("Detach").size(), 1U) << "one leave is enough";
    EXPECT_EQ(decks.passes(), passes);
    EXPECT_EQ(log.error(), "");
}

TEST_F(key_delivery, ends_with_the_object_at_the_latest) {
    start();
    wait_for_passes(1);
    manager.reset();
    EXPECT_EQ(main.calls().back(), detach_call());
    EXPECT_EQ(backup.calls().back(), detach_call());
}

TEST_F(key_delivery, takes_no_leave_if_it_never_began) {
    manager->stop();
    manager.reset();
    EXPECT_EQ(main.connections(), 0U);
}

TEST_F(key_delivery, goes_on_where_it_was_after_a_stop_and_a_start) {
    start();
    show(main, R"({"generation":7,"changed":true,"decks":[{"serial":"D","page":3}]})");
    ASSERT_TRUE(main.wait_for("State 7"));
    manager->stop();
    main.forget_calls();
    start();
    wait_for_passes(1);
    const texts calls = main.calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[0], register_call()) << "at once";
    EXPECT_EQ(calls[1], "State 7");
    move_to("B");
    ASSERT_TRUE(backup.wait_for(page_call("D", 3)));
    wait_for_passes(1);
    EXPECT_EQ(told(), "[streamdeck] display authority=M\n[streamdeck] display authority=B\n");
}

TEST_F(key_delivery, is_as_before_when_there_is_no_memory_for_the_thread) {
    {
        const failing_memory none(0);
        EXPECT_THROW(manager->start(), std::bad_alloc);
    }
    decks.press("D", 1, true); // nobody listens
    manager->stop();
    EXPECT_EQ(main.connections(), 0U);
    start();
    decks.press("D", 2, true);
    EXPECT_TRUE(main.wait_for(key_event("D", 2, true)));
    EXPECT_EQ(main.calls("KeyEvent"), texts{key_event("D", 2, true)});
}
