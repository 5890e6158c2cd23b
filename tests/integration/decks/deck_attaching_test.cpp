#include "running_adapter.hpp"

#include <algorithm>
#include <atomic>
#include <thread>

using namespace elvantris::operator_control;

namespace {

using deck_attaching = running_adapter;
using texts = std::vector<std::string>;

std::string describe(const deck_info& deck) {
    return deck.serial + '|' + deck.pid + '|' + deck.device_name + '|' + deck.device_path + '|' +
           std::to_string(deck.key_count) + '|' + std::to_string(deck.key_width) + '|' +
           std::to_string(deck.key_height) + '|' + deck.image_format + '|' +
           std::to_string(deck.image_rotation);
}

} // namespace

TEST_F(deck_attaching, happens_in_the_first_scan_and_lists_the_decks_by_serial) {
    bus.plug({.path = "/dev/x", .product_id = xl_id, .serial = L"b2", .product = L"Big \u00e9"});
    bus.plug({.path = "/dev/m", .product_id = mini_id, .asked_serial = L"a1"});
    bus.plug({.path = "/dev/o", .product_id = original_id, .serial = L"", .product = L""});
    bus.plug({.path = "/dev/k",
              .product_id = mk2_id,
              .serial = L"Z\u00e9\U0001F600",
              .asked_serial = L"not asked"});
    start_with(4);
    texts found;
    for (const deck_info& deck : adapter->list_decks())
        found.push_back(describe(deck));
    EXPECT_EQ(found, (texts{"Z???|128|Stream Deck Mk.2|/dev/k|15|72|72|jpeg|180",
                            "a1|99|Stream Deck Mini|/dev/m|6|80|80|bmp|90",
                            "b2|108|Big ?|/dev/x|32|96|96|jpeg|180",
                            "path:/dev/o|96|Stream Deck Original|/dev/o|15|72|72|bmp|0"}));
    EXPECT_EQ(log.output(), "[streamdeck] attached Big ? serial=b2 pid=108\n"
                            "[streamdeck] attached Stream Deck Mini serial=a1 pid=99\n"
                            "[streamdeck] attached Stream Deck Original serial=path:/dev/o pid=96\n"
                            "[streamdeck] attached Stream Deck Mk.2 serial=Z??? pid=128\n");
    EXPECT_EQ(log.error(), "");
    EXPECT_EQ(bus.enumeration_arguments(), std::set<std::string>{"0fd9 0000"});
    texts calls = bus.calls();
    std::erase_if(calls, [](const std::string& call) { return call.starts_with("write "); });
    EXPECT_EQ(calls, (texts{"init", "open /dev/x", "set nonblocking /dev/x 1", "open /dev/m",
                            "set nonblocking /dev/m 1", "ask serial /dev/m 256", "open /dev/o",
                            "set nonblocking /dev/o 1", "ask serial /dev/o 256", "open /dev/k",
                            "set nonblocking /dev/k 1"}));
}

TEST_F(deck_attaching, paints_the_splash_on_every_key_before_it_is_told) {
    plug("/dev/X", xl_id);
    plug("/dev/O", original_id);
    start_with(2);
    std::set<int> jpeg_keys;
    std::vector<int> original_keys;
    std::size_t last_reports = 0;
    for (const sent_report& report : bus.reports()) {
        ASSERT_FALSE(report.feature);
        if (report.path == "/dev/O") {
            EXPECT_EQ(report.bytes.size(), 8191U);
            original_keys.push_back(report.bytes[5]);
        } else {
            EXPECT_EQ(report.bytes.size(), 1024U);
            jpeg_keys.insert(report.bytes[2]);
            if (report.bytes[3] == 1) ++last_reports;
        }
    }
    EXPECT_EQ(original_keys,
              (std::vector<int>{5, 5, 4, 4, 3, 3,  2,  2,  1,  1,  10, 10, 9,  9,  8,
                                8, 7, 7, 6, 6, 15, 15, 14, 14, 13, 13, 12, 12, 11, 11}));
    EXPECT_EQ(jpeg_keys.size(), 32U);
    EXPECT_EQ(*jpeg_keys.rbegin(), 31);
    EXPECT_EQ(last_reports, 32U);
}

TEST_F(deck_attaching, stands_when_the_splash_fails_after_trying_every_key) {
    plug("/dev/X", mk2_id);
    plug("/dev/Y", mk2_id);
    bus.fail_writes("/dev/X", true);
    bus.fail_write("/dev/Y", 4); // one image of all
    start_with(2);
    EXPECT_EQ(log.error(), "[streamdeck] unable to paint bundled Elvantris splash for serial=X\n"
                           "[streamdeck] unable to paint bundled Elvantris splash for serial=Y\n");
    EXPECT_EQ(serials(), (texts{"X", "Y"}));
    std::set<int> keys;
    for (const sent_report& report : bus.reports())
        if (report.path == "/dev/X") {
            EXPECT_TRUE(keys.insert(report.bytes[2]).second) << "went on behind a failed report";
        }
    EXPECT_EQ(keys.size(), 15U);
}

TEST_F(deck_attaching, follows_what_comes_and_goes_on_the_bus) {
    const std::string collision =
        "[streamdeck] serial collision: serial=A existingPath=/dev/1A newPath=/dev/2A\n";
    const std::string found_mini =
        "[streamdeck] found Stream Deck Mini pid=0x0063 but could not open it; another "
        "application may own the HID device. path=/dev/H\n";
    plug("/dev/1A", xl_id);
    bus.plug({.path = "/dev/u1", .product_id = 0x0BAD, .product = L"Pedal \u00e9"});
    plug("/dev/2A", mini_id);
    plug("/dev/H", mini_id);
    plug("/dev/D", mk2_id);
    bus.hold("/dev/H", true);
    listen();
    start_with(2);
    std::string errors =
        "[streamdeck] unsupported Elgato HID device pid=0x0bad name=Pedal ? path=/dev/u1\n" +
        collision + found_mini;
    std::string output = "[streamdeck] attached Stream Deck XL serial=A pid=108\n"
                         "[streamdeck] attached Stream Deck Mk.2 serial=D pid=128\n";
    EXPECT_EQ(log.error(), errors);
    EXPECT_EQ(log.output(), output);
    EXPECT_EQ(serials(), (texts{"A", "D"}));
    bus.queue_input("/dev/D", key_report(512, {7}));
    expect_events({"D 3 down"});

    // The second scan finds the same bus: only the collision is told again, at each scan.
    errors += collision;
    ASSERT_TRUE(eventually([&] { return log.error() == errors; })) << log.error();
    wait_for_a_read("/dev/D");
    bus.hold("/dev/H", false);
    bus.plug({.path = "/dev/u2", .product_id = 0x0BAD});
    bus.pull("/dev/D");

    errors +=
        collision + "[streamdeck] unsupported Elgato HID device pid=0x0bad name= path=/dev/u2\n";
    output += "[streamdeck] attached Stream Deck Mini serial=H pid=99\n"
              "[streamdeck] detached serial=D\n";
    ASSERT_TRUE(eventually([&] { return log.output() == output; })) << log.output();
    EXPECT_EQ(log.error(), errors);
    EXPECT_EQ(serials(), (texts{"A", "H"}));
    EXPECT_FALSE(adapter->show_splash("D"));
    wait_for_a_read("/dev/H");
    bus.pull("/dev/2A");
    bus.pull("/dev/H");
    plug("/dev/D", mk2_id);
    bus.forget_calls();

    output += "[streamdeck] attached Stream Deck Mk.2 serial=D pid=128\n"
              "[streamdeck] detached serial=H\n";
    ASSERT_TRUE(eventually([&] { return log.output() == output; })) << log.output();
    EXPECT_FALSE(bus.reports().empty()) << "the splash, once more";
    for (const sent_report& report : bus.reports())
        EXPECT_EQ(report.path, "/dev/D") << "a deck that has gone gets no report";
    // No key is down on a deck that has come back, whatever it was when it went.
    bus.queue_input("/dev/D", key_report(512, {7}));
    expect_events({"D 3 down", "D 3 down"});
    plug("/dev/H", mini_id);
    bus.hold("/dev/H", true);

    // It was open in between, so the failure is told again.
    errors += found_mini;
    ASSERT_TRUE(eventually([&] { return log.error() == errors; })) << log.error();
    adapter->stop();
    EXPECT_EQ(log.output(), output);
    EXPECT_EQ(log.error(), errors);
}

TEST_F(deck_attaching, ends_when_the_bus_lists_nothing_and_begins_anew_after_it) {
    plug("/dev/A", mini_id);
    plug("/dev/B", mini_id);
    start_with(2);
    bus.fail_enumeration(true);
    bus.forget_calls();
    ASSERT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=B"); }));
    EXPECT_TRUE(logs("[streamdeck] detached serial=A"));
    EXPECT_EQ(serials(), texts{});
    EXPECT_EQ(bus.calls(), (texts{"close /dev/A", "close /dev/B"}));
    bus.fail_enumeration(false);
    EXPECT_TRUE(eventually([&] { return serials() == texts{"A", "B"}; }));
}

TEST_F(deck_attaching, ends_behind_an_image_that_is_being_written) {
    plug("/dev/X", xl_id);
    plug("/dev/M", mini_id);
    start_with(2);
    bus.block_writes("/dev/X", true);
    std::thread writer([this] { EXPECT_TRUE(adapter->set_key_image("X", 0, "\xFF\xD8\xFF\xD9")); });
    ASSERT_TRUE(eventually([&] { return bus.is_write_waiting("/dev/X"); }));
    bus.forget_calls();
    bus.fail_enumeration(true);
    EXPECT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=M"); }));
    EXPECT_FALSE(eventually([&] { return bus.calls().size() > 1; }, milliseconds(100)));
    bus.block_writes("/dev/X", false);
    writer.join();
    EXPECT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=X"); }));
    EXPECT_EQ(bus.calls(), (texts{"close /dev/M", "close /dev/X"}));
}

TEST_F(deck_attaching, ends_when_an_unknown_product_stands_under_the_decks_path) {
    plug("/dev/D", mk2_id);
    start_with(1);
    bus.pull("/dev/D");
    bus.plug({.path = "/dev/D", .product_id = 0x0BAD});
    EXPECT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=D"); }));
    EXPECT_EQ(serials(), texts{});
}

TEST_F(deck_attaching, takes_a_serial_of_any_length_and_the_path_for_an_empty_one) {
    const std::string longest(256, 's');
    bus.plug({.path = "/dev/e", .product_id = mini_id, .asked_serial = L""});
    bus.plug({.path = "/dev/l", .product_id = mini_id, .asked_serial = std::wstring(300, L's')});
    bus.plug({.path = "/dev/n", .product_id = mini_id, .serial = std::wstring(300, L'n')});
    start_with(3);
    EXPECT_EQ(serials(), (texts{std::string(300, 'n'), "path:/dev/e", longest}));
}

TEST_F(deck_attaching, paints_nothing_of_another_thread_before_the_splash_is_complete) {
    // A painter that could slip in would do so on one of so many decks.
    constexpr int deck_count = 200;
    for (int i = 0; i < deck_count; ++i) {
        const std::string serial = std::to_string(1000 + i);
        bus.plug({.path = "/dev/" + serial,
                  .product_id = mk2_id,
                  .serial = std::wstring(serial.begin(), serial.end())});
    }
    const std::string image = "\xFF\xD8\xFF\xD9";
    std::atomic<bool> all_attached = false;
    const auto paint_each_as_soon_as_it_is_there = [&] {
        for (int i = 0; i < deck_count; ++i)
            for (bool last_try = false; !last_try;) {
                last_try = all_attached;
                if (adapter->set_key_image(std::to_string(1000 + i), 14, image)) break;
            }
    };
    std::thread painter(paint_each_as_soon_as_it_is_there);
    std::thread other_painter(paint_each_as_soon_as_it_is_there);
    start_with(deck_count);
    all_attached = true;
    painter.join();
    other_painter.join();

    std::map<std::string, texts> reports;
    for (const sent_report& report : bus.reports())
        reports[report.path].push_back(report.bytes);
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(deck_count));
    for (const auto& [path, sent] : reports)
        for (std::size_t at = 0; at < sent.size(); ++at)
            // The images of the splash are longer than the painter's.
            EXPECT_EQ(sent[at].compare(4, 2, std::string("\x04\0", 2)) == 0, at + 2 >= sent.size())
                << path << ' ' << at << " of " << sent.size();
}

TEST_F(deck_attaching, does_not_end_by_a_single_read_between_two_scans) {
    plug("/dev/A", mini_id);
    plug("/dev/B", mini_id);
    plug("/dev/C", mini_id);
    // Each key of A keeps the adapter until the next scan is due: the other decks are read just
    // once between two scans.
    adapter->set_key_handler([this](const std::string& serial, std::int32_t, bool) {
        if (serial != "A") return;
        std::this_thread::sleep_for(milliseconds(2'050));
    });
    bus.fail_reads("/dev/B", 1);
    bus.fail_reads("/dev/C", SIZE_MAX);
    bus.queue_input("/dev/A", key_report(7, {1}));
    bus.queue_input("/dev/A", key_report(7));
    start_with(3);
    ASSERT_TRUE(eventually([&] { return bus.scans() == 2 && bus.reads("/dev/A") == 2; }));
    EXPECT_EQ(bus.reads("/dev/C"), 1U);
    EXPECT_EQ(serials(), (texts{"A", "B", "C"}));
    // By the third scan there have been two, and both reads of C failed.
    ASSERT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=C"); }));
    EXPECT_EQ(bus.reads("/dev/C"), 2U);
    EXPECT_EQ(serials(), (texts{"A", "B"}));
}

TEST_F(deck_attaching, ends_at_the_next_scan_once_its_reads_fail_until_the_scan_behind_that) {
    plug("/dev/A", mini_id);
    plug("/dev/B", mini_id);
    plug("/dev/C", mini_id);
    listen();
    start_with(3);
    wait_for_scans(1);
    wait_for_a_read("/dev/C"); // and so of A and B
    // A came back under its old path between two scans; B is listed, yet no read of it works; C
    // has failed for a while and works again.
    bus.pull("/dev/A");
    plug("/dev/A", mini_id);
    bus.fail_reads("/dev/B", SIZE_MAX);
    bus.fail_reads("/dev/C", 3);
    const std::size_t scans_before = bus.scans();
    const std::string once = "[streamdeck] attached Stream Deck Mini serial=A pid=99\n"
                             "[streamdeck] attached Stream Deck Mini serial=B pid=99\n"
                             "[streamdeck] attached Stream Deck Mini serial=C pid=99\n";
    // They are away for longer than two registrations are apart, so every server hears of it.
    ASSERT_TRUE(eventually([&] { return serials() == texts{"C"}; }));
    EXPECT_EQ(bus.scans(), scans_before + 1);
    const steady_time gone = steady_now();
    ASSERT_TRUE(eventually([&] { return serials() != texts{"C"}; }));
    EXPECT_GE(milliseconds_between(gone, steady_now()), 2'050);
    EXPECT_EQ(bus.scans(), scans_before + 2);
    ASSERT_TRUE(eventually([&] {
        return log.output() == once + "[streamdeck] detached serial=A\n"
                                      "[streamdeck] detached serial=B\n"
                                      "[streamdeck] attached Stream Deck Mini serial=B pid=99\n"
                                      "[streamdeck] attached Stream Deck Mini serial=A pid=99\n";
    })) << log.output();
    bus.fail_reads("/dev/B", 0);
    bus.queue_input("/dev/A", key_report(7, {1}));
    expect_events({"A 0 down"});
    EXPECT_TRUE(adapter->show_splash("A"));
}

TEST_F(deck_attaching, under_another_path_is_away_for_as_long_as_under_the_same) {
    plug("/dev/1A", mini_id);
    listen();
    start_with(1);
    wait_for_scans(1);
    wait_for_a_read("/dev/1A");
    bus.pull("/dev/1A");
    plug("/dev/2A", mini_id);
    const std::size_t scans_before = bus.scans();
    ASSERT_TRUE(eventually([&] { return serials().empty(); }));
    const steady_time gone = steady_now();
    EXPECT_EQ(bus.scans(), scans_before + 1);
    ASSERT_TRUE(eventually([&] { return serials() == texts{"A"}; }));
    EXPECT_GE(milliseconds_between(gone, steady_now()), 2'050);
    EXPECT_EQ(bus.scans(), scans_before + 2);
    EXPECT_EQ(adapter->list_decks()[0].device_path, "/dev/2A");
    const std::string attached = "[streamdeck] attached Stream Deck Mini serial=A pid=99\n";
    EXPECT_TRUE(eventually([&] {
        return log.output() == attached + "[streamdeck] detached serial=A\n" + attached;
    })) << log.output();
    EXPECT_EQ(log.error(),
              "[streamdeck] serial collision: serial=A existingPath=/dev/1A newPath=/dev/2A\n");
}

TEST_F(deck_attaching, goes_on_after_whatever_a_scan_throws) {
    plug("/dev/A", mini_id);
    bus.on_scan([] { throw std::bad_alloc(); });
    ASSERT_TRUE(adapter->start());
    ASSERT_TRUE(eventually([&] { return bus.scans() == 1; }));
    bus.on_scan([] { throw 1; });
    ASSERT_TRUE(eventually([&] { return bus.scans() == 2; }));
    EXPECT_EQ(serials(), texts{});
    bus.on_scan({});
    EXPECT_TRUE(eventually([&] { return serials() == texts{"A"}; }));
}
