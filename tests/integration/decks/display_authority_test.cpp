// Which server draws what the decks show.
#include "managed_decks.hpp"

using namespace elvantris::operator_control;

namespace {

using display_authority = managed_decks;
using texts = std::vector<std::string>;

} // namespace

TEST_F(display_authority, registers_and_polls_both_members_in_the_first_pass) {
    decks.attach({.serial = "D\"1",
                  .pid = "99",
                  .device_name = "Mini",
                  .device_path = "/dev/h",
                  .key_count = 6,
                  .key_width = 80,
                  .key_height = 80,
                  .image_format = "bmp",
                  .image_rotation = 90});
    start();
    wait_for_passes(1);
    for (const deck_server* const each : {&main, &backup}) {
        const texts calls = each->calls();
        ASSERT_GE(calls.size(), 2U);
        EXPECT_EQ(calls[0],
                  register_call(R"({"Serial":"D\"1","PID":"99","DeviceName":"Mini","KeyCount":6,)"
                                R"("DevicePath":"/dev/h","KeyWidth":80,"KeyHeight":80,)"
                                R"("ImageFormat":"bmp","ImageRotation":90})"));
        EXPECT_EQ(calls[1], "State 0");
    }
    manager.reset();
    EXPECT_EQ(log.output(), "[streamdeck] registered 1 deck(s) with M\n"
                            "[streamdeck] registered 1 deck(s) with B\n"
                            "[streamdeck] display authority=M\n");
    EXPECT_EQ(log.error(), "");
}

TEST_F(display_authority, registers_every_two_seconds_also_without_a_deck) {
    backup.answer("Register", 500);
    const steady_time begun = steady_now();
    start();
    ASSERT_TRUE(eventually([&] { return main.calls("Register").size() == 2; }));
    const auto taken = milliseconds_between(begun, steady_now());
    EXPECT_GE(taken, 2000);
    const texts calls = main.calls();
    const auto polls = std::ranges::count_if(
        calls.begin(), std::ranges::find(calls.begin() + 1, calls.end(), register_call()),
        [](const std::string& call) { return call.starts_with("State"); });
    EXPECT_GE(polls, 2) << "the passes in between don't register";
    EXPECT_LE(polls, 21) << "each is followed by a rest";
    manager.reset();
    EXPECT_EQ(main.calls("Register"), (texts{register_call(), register_call()}));
    EXPECT_EQ(backup.calls("Register").size(), 2U);
    EXPECT_EQ(log.output(), "[streamdeck] registered 0 deck(s) with M\n"
                            "[streamdeck] display authority=M\n"
                            "[streamdeck] registered 0 deck(s) with M\n");
    EXPECT_EQ(log.error(), "");
}

TEST_F(display_authority, leaves_a_server_that_is_not_ready_alone) {
    know({"M", "B", "I"});
    make_ready({"B"}, false);
    ASSERT_TRUE(registry.find_system("B")->online);
    start();
    wait_for_passes(1);
    decks.press("D", 0, true);
    wait_for_passes(2);
    manager.reset();
    EXPECT_EQ(backup.connections(), 0U);
    EXPECT_EQ(independent.connections(), 0U);
    EXPECT_EQ(main.calls("KeyEvent"), texts{key_event("D", 0, true)});
    EXPECT_EQ(log.error(), "");
}

TEST_F(display_authority, polls_an_independent_server_only_while_it_has_the_authority) {
    know({"M", "B", "I"});
    make_ready({"I"});
    registry.configure(false, "M", "B");
    start();
    wait_for_passes(2);
    EXPECT_EQ(independent.calls(), texts{register_call()});
    EXPECT_FALSE(backup.calls("State").empty()) << "a role is enough, enabled or not";
    make_ready({"M"}, false);
    ASSERT_EQ(registry.active_system()->serial, "I");
    independent.show(
        R"({"generation":5,"changed":true,"decks":[{"serial":"D","useSplash":true}]})");
    wait_for_passes(3);
    const texts polls = independent.calls("State");
    ASSERT_GE(polls.size(), 2U);
    EXPECT_EQ(polls[0], "State 0");
    EXPECT_EQ(polls[1], "State 5");
    EXPECT_EQ(decks.calls(), texts{"D splash"});
    make_ready({"M"});
    wait_for_passes(1);
    independent.forget_calls();
    wait_for_passes(2);
    EXPECT_EQ(independent.calls("State"), texts{});
    EXPECT_EQ(told(), "[streamdeck] display authority=M\n[streamdeck] display authority=I\n"
                      "[streamdeck] display authority=M\n");
}

TEST_F(display_authority, paints_what_its_server_draws_key_by_key_in_order) {
    start();
    show(main, R"({"generation":1,"changed":true,"decks":[)"
               R"({"serial":"D","keys":[{"index":2,"data":"QUJD"},{"index":0,"data":""},)"
               R"({"index":1,"data":"***"},{"index":-1,"data":"QQ=="}]},)"
               R"({"serial":"E","useSplash":true,"keys":[{"index":0,"data":"QQ=="}]},)"
               R"({"serial":"gone","keys":[{"index":9,"data":""}]}]})");
    EXPECT_EQ(decks.calls(),
              (texts{"D image 2 ABC", "D clear 0", "D image -1 A", "E splash", "gone clear 9"}));
    EXPECT_EQ(log.error(), "[streamdeck] rejected invalid Base64 image from server deck=D key=1\n");
    show(main, R"({"generation":2,"changed":true,"decks":[{"serial":"E","keys":[{"index":5}]}]})");
    EXPECT_EQ(decks.calls().size(), 6U) << "a deck that is not named is not touched";
    EXPECT_EQ(decks.calls().back(), "E clear 5");
}

TEST_F(display_authority, keeps_the_views_of_the_other_server_and_paints_none) {
    const std::string state =
        R"({"generation":4,"changed":true,"decks":[{"serial":"D","page":7,"useSplash":true},)"
        R"({"serial":"E","keys":[{"index":1,"data":"QQ=="}]}]})";
    start();
    show(backup, state);
    EXPECT_EQ(decks.calls(), texts{});
    EXPECT_TRUE(backup.wait_for("State 4"));
    show(main, state);
    EXPECT_EQ(decks.calls(), (texts{"D splash", "E image 1 A"}));
}

TEST_F(display_authority, moves_the_generation_with_every_accepted_reply) {
    start();
    show(main, R"({"generation":9})");
    EXPECT_TRUE(main.wait_for("State 9"));
    show(main, R"({"generation":6,"changed":false,"decks":[{"serial":"D","useSplash":true}]})");
    EXPECT_TRUE(main.wait_for("State 6")) << "a lower one counts as well";
    show(main, R"({"changed":true})");
    main.forget_calls();
    wait_for_passes(1);
    EXPECT_EQ(main.calls("State").front(), "State 6");
    EXPECT_EQ(decks.calls(), texts{}) << "without a change nothing is looked at";
    for (const std::string& call : backup.calls("State"))
        EXPECT_EQ(call, "State 0") << "each server has its own";
}

TEST_F(display_authority, leaves_the_session_as_it_was_when_a_poll_fails) {
    start();
    show(main, R"({"generation":9})");
    ASSERT_TRUE(main.wait_for("State 9"));
    main.answer("State", 204);
    main.forget_calls();
    wait_for_passes(2);
    main.answer("State", 200);
    wait_for_passes(1);
    for (const std::string& call : main.calls("State"))
        EXPECT_EQ(call, "State 9");
    EXPECT_EQ(log.error(), "");
}

TEST_F(display_authority, takes_the_pages_along_from_main_to_backup_and_back) {
    start();
    show(main, R"({"generation":1,"changed":true,"decks":[{"serial":"Z","page":2},)"
               R"({"serial":"A","page":5}]})");
    show(main, R"({"generation":2,"changed":true,"decks":[{"serial":"A","page":6}]})");
    show(backup, R"({"generation":8,"changed":true,"decks":[{"serial":"Q","page":4}]})");
    ASSERT_TRUE(backup.wait_for("State 8"));
    EXPECT_EQ(main.calls("SetPage"), texts{}) << "none at the first authority after the start";
    backup.answer("SetPage", 500); // which nobody minds
    decks.hold();
    backup.forget_calls();
    move_to("B");
    decks.release();
    wait_for_passes(2);
    texts calls = backup.calls_but("Register");
    const auto first_page = std::ranges::find(calls, page_call("A", 6));
    ASSERT_LE(first_page + 3, calls.end());
    EXPECT_EQ(texts(first_page, first_page + 3),
              (texts{page_call("A", 6), page_call("Z", 2), "State 0"}));
    EXPECT_EQ(backup.calls("SetPage").size(), 2U);
    EXPECT_EQ(main.calls("SetPage"), texts{});

    main.forget_calls();
    move_to("M");
    ASSERT_TRUE(main.wait_for(page_call("Q", 4)));
    wait_for_passes(1);
    calls = main.calls_but("Register");
    const auto page = std::ranges::find(calls, page_call("Q", 4));
    ASSERT_LE(page + 2, calls.end());
    EXPECT_EQ(*(page + 1), "State 0");
    EXPECT_EQ(main.calls("SetPage").size(), 1U);
    EXPECT_EQ(told(), "[streamdeck] display authority=M\n[streamdeck] display authority=B\n"
                      "[streamdeck] display authority=M\n");
    EXPECT_EQ(log.error(), "");
}

TEST_F(display_authority, takes_no_pages_along_past_a_moment_without_any) {
    start();
    show(main, R"({"generation":1,"changed":true,"decks":[{"serial":"D","page":2,)"
               R"("keys":[{"index":0}]}]})");
    move_to("nobody");
    wait_for_passes(3);
    EXPECT_EQ(decks.calls(), texts{"D clear 0"}) << "the decks stay as they are";
    main.show(R"({"generation":3,"changed":true,"decks":[{"serial":"D","useSplash":true}]})");
    wait_for_passes(1);
    EXPECT_EQ(decks.calls(), texts{"D clear 0"}) << "Main is polled and not painted";
    move_to("B");
    wait_for_passes(2);
    EXPECT_EQ(backup.calls("SetPage"), texts{});
    EXPECT_EQ(told(), "[streamdeck] display authority=M\n[streamdeck] display authority=none\n"
                      "[streamdeck] display authority=B\n");
}

TEST_F(display_authority, is_not_told_of_before_there_has_been_one) {
    move_to("nobody");
    start();
    wait_for_passes(2);
    EXPECT_EQ(told(), "");
    EXPECT_FALSE(main.calls("State").empty());
}

TEST_F(display_authority, stays_with_a_server_that_changes_its_address) {
    start();
    show(main, R"({"generation":7,"changed":true,"decks":[{"serial":"D","page":2}]})");
    ASSERT_TRUE(main.wait_for("State 7"));
    decks.hold();
    make_ready({"M"}, false);
    registry.merge_discovered(
        {{.address = "127.0.0.1", .webPort = independent.port(), .workstation = "", .serial = "M"}},
        steady_time(std::chrono::hours(1)));
    make_ready({"M"});
    decks.release();
    ASSERT_TRUE(independent.wait_for("State 7"));
    EXPECT_EQ(independent.calls("SetPage"), texts{});
    EXPECT_EQ(told(), "[streamdeck] display authority=M\n");
}

TEST_F(display_authority, survives_whatever_ends_a_pass) {
    start();
    wait_for_passes(1);
    decks.hold();
    decks.fail_next_pass(std::runtime_error("the bus is on fire"));
    decks.press("D", 3, true);
    decks.release();
    wait_for_passes(2);
    EXPECT_EQ(log.error(), "[streamdeck] manager: the bus is on fire\n");
    EXPECT_EQ(main.calls("KeyEvent"), texts{key_event("D", 3, true)}) << "in the next pass";

    show(main,
         R"({"generation":5,"changed":true,"decks":[{"serial":"throwing","useSplash":true}]})");
    EXPECT_TRUE(main.wait_for("State 5"));
    decks.press("D", 4, true);
    EXPECT_TRUE(main.wait_for(key_event("D", 4, true)));
    EXPECT_EQ(log.error(), "[streamdeck] manager: the bus is on fire\n"
                           "[streamdeck] manager: no splash today\n");
}

TEST_F(display_authority, survives_exceptions_that_cant_be_told_of) {
    struct silent_failure : std::exception {
        const char* what() const noexcept override { return nullptr; }
    };
    start();
    wait_for_passes(1);
    decks.fail_next_pass(silent_failure());
    wait_for_passes(2);
    decks.fail_next_pass(1);
    wait_for_passes(2);
    decks.press("D", 3, true);
    EXPECT_TRUE(main.wait_for(key_event("D", 3, true)));
    EXPECT_EQ(log.error(), "");
}
