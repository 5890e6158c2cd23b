#include "integration/support/failing_memory.hpp"
#include "running_adapter.hpp"

#include <algorithm>
#include <thread>

using namespace elvantris::operator_control;

namespace {

using adapter_life = running_adapter;
using texts = std::vector<std::string>;

std::string reset_of(char first, char second, std::size_t size) {
    std::string report(size, '\0');
    report[0] = first;
    report[1] = second;
    return report;
}

} // namespace

TEST_F(adapter_life, begins_with_no_decks) {
    plug("/dev/A", mini_id);
    EXPECT_TRUE(adapter->list_decks().empty());
    EXPECT_FALSE(adapter->show_splash("A"));
    adapter->stop();
    EXPECT_EQ(bus.calls(), texts{});
}

TEST_F(adapter_life, does_not_begin_without_hidapi) {
    plug("/dev/A", mini_id);
    bus.fail_init(true);
    EXPECT_FALSE(adapter->start());
    EXPECT_FALSE(adapter->start());
    adapter->stop();
    EXPECT_EQ(bus.calls(), (texts{"init", "init"}));
    EXPECT_EQ(bus.scans(), 0U);
    EXPECT_EQ(log.error(), "") << "the caller tells of it";
    bus.fail_init(false);
    start_with(1);
}

TEST_F(adapter_life, ends_by_resetting_every_deck_in_order) {
    plug("/dev/X", xl_id);
    plug("/dev/M", mini_id);
    plug("/dev/O", original_id);
    plug("/dev/G", mini_id);
    start_with(4);
    EXPECT_TRUE(adapter->start());
    EXPECT_EQ(std::ranges::count(bus.calls(), "init"), 1) << "once is enough";
    bus.fail_feature_reports("/dev/M", 1); // which nobody minds
    bus.forget_calls();
    adapter->stop();
    EXPECT_TRUE(adapter->list_decks().empty());
    const texts calls{"feature /dev/G 32", "close /dev/G",      "feature /dev/M 32",
                      "close /dev/M",      "feature /dev/O 17", "close /dev/O",
                      "feature /dev/X 32", "close /dev/X",      "exit"};
    EXPECT_EQ(bus.calls(), calls);
    const std::vector<sent_report> reports = bus.reports();
    ASSERT_EQ(reports.size(), 4U);
    EXPECT_EQ(reports[1].bytes, reset_of(0x0B, 0x63, 32));
    EXPECT_EQ(reports[2].bytes, reset_of(0x0B, 0x63, 17));
    EXPECT_EQ(reports[3].bytes, reset_of(0x03, 0x02, 32));
    EXPECT_FALSE(adapter->set_key_image("X", 0, "\xFF\xD8\xFF\xD9"));
    adapter->stop();
    EXPECT_EQ(bus.calls(), calls) << "a second stop does nothing";
    EXPECT_EQ(log.output().find("detached"), std::string::npos);
}

TEST_F(adapter_life, can_begin_again_and_remembers_what_it_has_reported) {
    plug("/dev/A", mini_id);
    plug("/dev/H", mini_id);
    bus.plug({.path = "/dev/u", .product_id = 0x0086});
    bus.hold("/dev/H", true);
    start_with(1);
    adapter->stop();
    start_with(2); // the second line of the same deck
    EXPECT_EQ(serials(), texts{"A"});
    adapter->stop();
    EXPECT_EQ(std::ranges::count(bus.calls(), "init"), 2);
    EXPECT_EQ(std::ranges::count(bus.calls(), "exit"), 2);
    EXPECT_EQ(log.error(),
              "[streamdeck] found Stream Deck Mini pid=0x0063 but could not open it; another "
              "application may own the HID device. path=/dev/H\n"
              "[streamdeck] unsupported Elgato HID device pid=0x0086 name= path=/dev/u\n");
}

TEST_F(adapter_life, ends_with_the_object_at_the_latest) {
    plug("/dev/A", mini_id);
    start_with(1);
    adapter = create_hid_streamdeck_adapter();
    const texts calls = bus.calls();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(texts(calls.end() - 3, calls.end()),
              (texts{"feature /dev/A 32", "close /dev/A", "exit"}));
}

TEST_F(adapter_life, looks_for_decks_every_two_seconds_and_at_their_keys_every_20_ms) {
    plug("/dev/A", mini_id);
    listen();
    const steady_time begun = steady_now();
    ASSERT_TRUE(adapter->start());
    ASSERT_TRUE(eventually([&] { return bus.scans() >= 3; }));
    EXPECT_GE(milliseconds_between(begun, steady_now()), 3'900);
    EXPECT_TRUE(in_time([&] {
        const std::size_t scans_before = bus.scans();
        EXPECT_TRUE(eventually([&] { return bus.scans() > scans_before; }));
        const steady_time first = steady_now();
        const std::size_t reads_before = bus.reads("/dev/A");
        EXPECT_TRUE(eventually([&] { return bus.scans() > scans_before + 1; }));
        const std::size_t reads = bus.reads("/dev/A") - reads_before;
        const auto taken = milliseconds_between(first, steady_now());
        return taken >= 1'900 && taken < 3'000 && reads >= 30U && reads <= 105U;
    }));
}

TEST_F(adapter_life, ends_behind_an_image_that_is_being_written) {
    plug("/dev/X", xl_id);
    plug("/dev/M", mini_id);
    start_with(2);
    bus.block_writes("/dev/X", true);
    std::thread writer([this] { EXPECT_TRUE(adapter->set_key_image("X", 0, "\xFF\xD8\xFF\xD9")); });
    ASSERT_TRUE(eventually([&] { return bus.is_write_waiting("/dev/X"); }));
    bus.forget_calls();
    std::thread stopper([this] { adapter->stop(); });
    EXPECT_TRUE(eventually([&] { return bus.calls().size() == 2; })) << "M has gone";
    EXPECT_FALSE(eventually([&] { return bus.calls().size() > 2; }, milliseconds(100)));
    bus.block_writes("/dev/X", false);
    writer.join();
    stopper.join();
    EXPECT_EQ(bus.calls(), (texts{"feature /dev/M 32", "close /dev/M", "feature /dev/X 32",
                                  "close /dev/X", "exit"}));
}

TEST_F(adapter_life, is_as_before_when_there_is_no_memory_for_its_thread) {
    plug("/dev/A", mini_id);
    {
        const failing_memory none(0);
        EXPECT_FALSE(adapter->start());
    }
    EXPECT_EQ(bus.calls(), (texts{"init", "exit"}));
    adapter->stop();
    EXPECT_EQ(bus.calls(), (texts{"init", "exit"}));
    start_with(1);
}

TEST_F(adapter_life, ends_without_waiting_for_the_next_scan_while_there_is_no_deck) {
    start_with(0);
    wait_for_scans(1); // the next one is 2 s away
    const steady_time before = steady_now();
    adapter->stop();
    EXPECT_LT(steady_now() - before, std::chrono::milliseconds(1500));
}

TEST_F(adapter_life, finds_a_deck_that_comes_while_there_is_none) {
    start_with(0);
    wait_for_scans(1);
    plug("/dev/A", mini_id);
    start_with(1);
}
