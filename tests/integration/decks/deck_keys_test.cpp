#include "running_adapter.hpp"

#include <atomic>

using namespace elvantris::operator_control;

namespace {

using deck_keys = running_adapter;
using texts = std::vector<std::string>;

} // namespace

TEST_F(deck_keys, are_not_read_until_there_is_a_handler) {
    plug("/dev/M", mini_id);
    bus.queue_input("/dev/M", key_report(7, {1, 3}));
    start_with(1);
    wait_for_scans(1); // some hundred looks at the keys later
    EXPECT_EQ(bus.reads("/dev/M"), 0U);
    EXPECT_EQ(bus.queued_input("/dev/M"), 1U);
    listen();
    expect_events({"M 0 down", "M 2 down"});
    EXPECT_EQ(bus.read_arguments(), std::set<std::string>{"512 0"}) << "a read never waits";
    EXPECT_EQ(serials(), texts{"M"}) << "empty reads are no failed ones";
}

TEST_F(deck_keys, come_from_one_report_of_each_deck_in_a_pass_the_lower_key_first) {
    plug("/dev/X", xl_id);
    plug("/dev/M", mini_id);
    plug("/dev/O", original_id);
    bus.queue_input("/dev/X", key_report(512, {4, 35}));
    bus.queue_input("/dev/X", key_report(512, {35}));
    bus.queue_input("/dev/O", key_report(16, {5}));
    bus.queue_input("/dev/O", key_report(16, {1, 10, 11}));
    bus.queue_input("/dev/M", key_report(7, {6}));
    bus.queue_input("/dev/M", key_report(7));
    start_with(3);
    listen();
    expect_events({"M 5 down", "O 0 down", "X 0 down", "X 31 down", "M 5 up", "O 0 up", "O 4 down",
                   "O 5 down", "O 14 down", "X 0 up"});
}

TEST_F(deck_keys, ignore_reports_that_are_short_or_of_another_kind) {
    plug("/dev/X", xl_id);
    plug("/dev/M", mini_id);
    plug("/dev/O", original_id);
    std::string other_kind = key_report(512, {4});
    other_kind[1] = 3;
    std::string other_id = key_report(512, {4});
    other_id[0] = 2;
    bus.queue_input("/dev/X", other_kind);
    bus.queue_input("/dev/X", other_id);
    bus.queue_input("/dev/X", key_report(35, {4}));
    bus.queue_input("/dev/X", key_report(36, {5}));
    bus.queue_input("/dev/M", key_report(6, {1}));
    bus.queue_input("/dev/M", "\x01");
    bus.queue_input("/dev/M", key_report(7, {2}));
    bus.queue_input("/dev/O", key_report(15, {5}));
    bus.queue_input("/dev/O", key_report(16, {4}));
    start_with(3);
    listen();
    ASSERT_TRUE(eventually([&] { return events().size() == 3; }));
    const texts heard_events = events();
    EXPECT_EQ(std::set<std::string>(heard_events.begin(), heard_events.end()),
              (std::set<std::string>{"X 1 down", "M 1 down", "O 1 down"}));
}

TEST_F(deck_keys, go_to_the_newest_handler_alone) {
    plug("/dev/M", mini_id);
    start_with(1);
    listen();
    bus.queue_input("/dev/M", key_report(7, {1}));
    expect_events({"M 0 down"});
    std::atomic<int> calls = 0;
    adapter->set_key_handler([&](const std::string&, std::int32_t, bool) { ++calls; });
    bus.queue_input("/dev/M", key_report(7, {2}));
    EXPECT_TRUE(eventually([&] { return calls == 2; }));
    EXPECT_EQ(events(), texts{"M 0 down"});
    adapter->set_key_handler({});
    adapter->stop();
}

TEST_F(deck_keys, of_one_report_all_go_to_the_handler_that_was_there_before) {
    plug("/dev/M", mini_id);
    start_with(1);
    std::atomic<int> first = 0;
    std::atomic<int> second = 0;
    adapter->set_key_handler([&](const std::string&, std::int32_t, bool) {
        ++first;
        adapter->set_key_handler([&](const std::string&, std::int32_t, bool) { ++second; });
    });
    bus.queue_input("/dev/M", key_report(7, {1, 3, 6}));
    bus.queue_input("/dev/M", key_report(7, {1, 3}));
    EXPECT_TRUE(eventually([&] { return second == 1; }));
    EXPECT_EQ(first, 3);
    adapter->stop(); // before what the handlers refer to goes
}

TEST_F(deck_keys, reach_a_handler_that_uses_the_adapter_itself) {
    plug("/dev/M", mini_id);
    start_with(1);
    std::atomic<bool> answered = false;
    adapter->set_key_handler([&](const std::string& serial, std::int32_t key, bool) {
        answered = adapter->list_decks().size() == 1 && adapter->clear_key(serial, key);
    });
    bus.queue_input("/dev/M", key_report(7, {1}));
    EXPECT_TRUE(eventually([&] { return answered.load(); }));
    adapter->stop(); // before what the handler refers to goes
}

TEST_F(deck_keys, survive_failed_reads) {
    plug("/dev/M", mini_id);
    start_with(1);
    bus.fail_reads("/dev/M", 1);
    bus.queue_input("/dev/M", key_report(7, {1}));
    listen();
    expect_events({"M 0 down"});
    EXPECT_EQ(log.error(), "");
}

TEST_F(deck_keys, are_read_on_after_a_handler_that_throws) {
    plug("/dev/M", mini_id);
    start_with(1);
    std::atomic<int> calls = 0;
    adapter->set_key_handler([&](const std::string&, std::int32_t, bool) {
        if (++calls == 1) throw std::bad_alloc();
        if (calls == 2) throw 1;
    });
    bus.queue_input("/dev/M", key_report(7, {1}));
    bus.queue_input("/dev/M", key_report(7));
    bus.queue_input("/dev/M", key_report(7, {1}));
    EXPECT_TRUE(eventually([&] { return calls == 3; }));
    adapter->stop(); // before what the handler refers to goes
}
