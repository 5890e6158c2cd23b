#include "decks/image_reports.hpp"
#include "running_adapter.hpp"

#include <algorithm>
#include <atomic>
#include <thread>

using namespace elvantris::operator_control;

namespace {

class deck_images : public running_adapter {
protected:
    void SetUp() override {
        plug("/dev/X", xl_id);
        plug("/dev/M", mini_id);
        plug("/dev/O", original_id);
        start_with(3);
        bus.forget_calls();
    }
    std::vector<std::string> sent() {
        std::vector<std::string> bytes;
        for (const sent_report& report : bus.reports())
            bytes.push_back(report.path + (report.feature ? " feature " : " write ") +
                            report.bytes);
        return bytes;
    }
};

std::string jpeg_of(std::size_t size) {
    std::string image = "\xFF\xD8";
    image.append(size - 4, 'x');
    return image.append("\xFF\xD9");
}

// What an image of a key looks like on the wire, in the notation of `sent`.
std::vector<std::string> expected(const std::string& path, deck_family family, std::int32_t key,
                                  std::string_view image) {
    std::vector<std::string> bytes;
    send_image_reports(family, key, image, [&](report_bytes report) {
        bytes.push_back(path + " write " + std::string(report.begin(), report.end()));
        return true;
    });
    return bytes;
}

using texts = std::vector<std::string>;

} // namespace

TEST_F(deck_images, are_written_in_the_reports_of_the_decks_family) {
    const std::string jpeg = jpeg_of(1017);
    EXPECT_TRUE(adapter->set_key_image("X", 31, jpeg));
    EXPECT_EQ(sent(), expected("/dev/X", deck_family::family_jpeg, 31, jpeg));
    EXPECT_EQ(sent().size(), 2U);
    bus.forget_calls();

    const std::string mini_bmp = black_image(deck_family::family_mini);
    EXPECT_TRUE(adapter->set_key_image("M", 0, mini_bmp));
    EXPECT_EQ(sent(), expected("/dev/M", deck_family::family_mini, 0, mini_bmp));
    EXPECT_EQ(sent().size(), 20U);
    bus.forget_calls();

    const std::string original_bmp = black_image(deck_family::family_original);
    EXPECT_TRUE(adapter->set_key_image("O", 14, original_bmp));
    EXPECT_EQ(sent(), expected("/dev/O", deck_family::family_original, 14, original_bmp));
    EXPECT_EQ(sent().size(), 2U);
    EXPECT_EQ(log.error(), "");
}

TEST_F(deck_images, in_a_wrong_format_are_refused_and_logged) {
    const std::string bmp = black_image(deck_family::family_mini);
    const std::string bad_end = jpeg_of(100) + "x";
    EXPECT_FALSE(adapter->set_key_image("X", 3, "\xFF\xD8\xD9"));
    EXPECT_FALSE(adapter->set_key_image("X", 4, bad_end));
    EXPECT_FALSE(adapter->set_key_image("X", 31, bmp));
    EXPECT_FALSE(adapter->set_key_image("M", 0, jpeg_of(100)));
    EXPECT_FALSE(adapter->set_key_image("M", 5, bmp.substr(0, 53)));
    EXPECT_FALSE(adapter->set_key_image("O", 14, "x"));
    EXPECT_EQ(log.error(),
              "[streamdeck] rejected malformed jpeg image serial=X key=3 bytes=3\n"
              "[streamdeck] rejected malformed jpeg image serial=X key=4 bytes=101\n"
              "[streamdeck] rejected malformed jpeg image serial=X key=31 bytes=19254\n"
              "[streamdeck] rejected malformed bmp image serial=M key=0 bytes=100\n"
              "[streamdeck] rejected malformed bmp image serial=M key=5 bytes=53\n"
              "[streamdeck] rejected malformed bmp image serial=O key=14 bytes=1\n");
    EXPECT_EQ(sent(), texts{});
}

TEST_F(deck_images, for_an_unknown_deck_or_key_or_without_bytes_are_refused_in_silence) {
    for (const std::int32_t key : {-1, 32, 1000, -2'000'000'000}) {
        EXPECT_FALSE(adapter->set_key_image("X", key, jpeg_of(10))) << key;
        EXPECT_FALSE(adapter->clear_key("X", key)) << key;
    }
    EXPECT_FALSE(adapter->set_key_image("X", 32, "malformed as well"));
    EXPECT_FALSE(adapter->set_key_image("M", 6, black_image(deck_family::family_mini)));
    EXPECT_FALSE(adapter->set_key_image("X", 0, ""));
    for (const char* const serial : {"", "x", "/dev/X", "Y"}) {
        EXPECT_FALSE(adapter->set_key_image(serial, 0, jpeg_of(10))) << serial;
        EXPECT_FALSE(adapter->set_key_image(serial, 0, "malformed")) << serial;
        EXPECT_FALSE(adapter->clear_key(serial, 0)) << serial;
        EXPECT_FALSE(adapter->clear_all_keys(serial)) << serial;
        EXPECT_FALSE(adapter->show_splash(serial)) << serial;
    }
    EXPECT_EQ(log.error(), "");
    EXPECT_EQ(sent(), texts{});
}

TEST_F(deck_images, that_the_original_cant_show_are_refused_in_silence) {
    std::string small = black_image(deck_family::family_original);
    small[18] = small[22] = 70;
    std::string packed = black_image(deck_family::family_original);
    packed[30] = 1;
    EXPECT_FALSE(adapter->set_key_image("O", 0, small));
    EXPECT_FALSE(adapter->set_key_image("O", 0, packed));
    EXPECT_EQ(log.error(), "");
    EXPECT_EQ(sent(), texts{});
}

TEST_F(deck_images, end_at_the_first_report_that_fails) {
    bus.fail_write("/dev/X", 1);
    EXPECT_FALSE(adapter->set_key_image("X", 0, jpeg_of(5000)));
    EXPECT_EQ(bus.reports().size(), 2U);
    EXPECT_TRUE(adapter->set_key_image("X", 0, jpeg_of(5000))) << "the deck stays usable";
    EXPECT_EQ(log.error(), "");
}

TEST_F(deck_images, are_cleared_by_a_feature_report_or_an_image_of_black) {
    EXPECT_TRUE(adapter->clear_key("X", 31));
    const auto clearing = clear_key_report(31);
    ASSERT_EQ(bus.reports().size(), 1U);
    EXPECT_TRUE(bus.reports()[0].feature);
    EXPECT_EQ(bus.reports()[0].bytes, std::string(clearing.begin(), clearing.end()));
    bus.forget_calls();
    EXPECT_TRUE(adapter->clear_key("M", 5));
    EXPECT_EQ(sent(), expected("/dev/M", deck_family::family_mini, 5,
                               black_image(deck_family::family_mini)));
    bus.forget_calls();
    EXPECT_TRUE(adapter->clear_key("O", 0));
    EXPECT_EQ(sent(), expected("/dev/O", deck_family::family_original, 0,
                               black_image(deck_family::family_original)));

    bus.fail_feature_reports("/dev/X", 1);
    bus.fail_write("/dev/M", 19);
    bus.fail_write("/dev/O", 1);
    EXPECT_FALSE(adapter->clear_key("X", 0));
    EXPECT_FALSE(adapter->clear_key("M", 0));
    EXPECT_FALSE(adapter->clear_key("O", 0));
}

TEST_F(deck_images, are_all_cleared_even_if_one_fails) {
    EXPECT_TRUE(adapter->clear_all_keys("X"));
    EXPECT_EQ(bus.reports().size(), 32U);
    bus.forget_calls();
    bus.fail_feature_reports("/dev/X", 1);
    EXPECT_FALSE(adapter->clear_all_keys("X"));
    ASSERT_EQ(bus.reports().size(), 32U);
    for (std::size_t key = 0; key < 32; ++key)
        EXPECT_EQ(bus.reports()[key].bytes[2], static_cast<char>(key));
    bus.forget_calls();
    EXPECT_TRUE(adapter->clear_all_keys("M"));
    EXPECT_EQ(bus.reports().size(), 6U * 20U);
    bus.forget_calls();
    bus.fail_write("/dev/O", 4); // the third of fifteen images
    EXPECT_FALSE(adapter->clear_all_keys("O"));
    EXPECT_EQ(bus.reports().size(), 29U);
}

TEST_F(deck_images, of_the_splash_go_to_every_key_even_if_one_fails) {
    EXPECT_TRUE(adapter->show_splash("O"));
    EXPECT_EQ(bus.reports().size(), 30U);
    EXPECT_TRUE(adapter->show_splash("M"));
    bus.forget_calls();
    bus.fail_write("/dev/O", 0);
    EXPECT_FALSE(adapter->show_splash("O"));
    EXPECT_EQ(bus.reports().size(), 29U);
    EXPECT_EQ(log.error(), "") << "only the attaching tells of a splash that failed";
}

TEST_F(deck_images, of_two_threads_never_mix_on_one_deck) {
    const auto write_often = [this](std::int32_t key) {
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(adapter->set_key_image("X", key, jpeg_of(20'000)));
    };
    std::thread other(write_often, 1);
    std::thread third([this] {
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(adapter->clear_key("X", 9));
    });
    write_often(2);
    other.join();
    third.join();
    std::optional<std::pair<char, char>> unfinished; // the key and the number that must follow
    std::size_t images = 0;
    for (const sent_report& report : bus.reports()) {
        const char key = report.bytes[2];
        if (unfinished) {
            ASSERT_FALSE(report.feature);
            ASSERT_EQ(key, unfinished->first);
            ASSERT_EQ(report.bytes[6], unfinished->second);
        }
        unfinished.reset();
        if (report.feature) continue;
        if (report.bytes[3] == 0)
            unfinished.emplace(key, static_cast<char>(report.bytes[6] + 1));
        else
            ++images;
    }
    EXPECT_EQ(images, 40U);
}

TEST_F(deck_images, of_a_splash_or_a_clearing_of_all_keys_let_none_in_between) {
    bus.forget_calls();
    adapter->show_splash("O");
    const texts splash = sent();
    bus.forget_calls();
    adapter->clear_all_keys("O");
    const texts clearing = sent();
    const texts image = expected("/dev/O", deck_family::family_original, 3,
                                 black_image(deck_family::family_original));
    ASSERT_EQ(splash.size(), 30U);
    ASSERT_EQ(clearing.size(), 30U);
    bus.forget_calls();

    std::atomic<bool> done = false;
    const auto paint = [&] {
        do
            adapter->set_key_image("O", 3, black_image(deck_family::family_original));
        while (!done);
    };
    std::thread painter(paint);
    std::thread other_painter(paint);
    for (int i = 0; i < 60; ++i) {
        EXPECT_TRUE(adapter->show_splash("O"));
        EXPECT_TRUE(adapter->clear_all_keys("O"));
    }
    done = true;
    painter.join();
    other_painter.join();
    const texts all = sent();
    for (auto at = all.begin(); at != all.end();) {
        const auto begins_with = [&](const texts& whole) {
            return all.end() - at >= static_cast<std::ptrdiff_t>(whole.size()) &&
                   std::equal(whole.begin(), whole.end(), at);
        };
        const auto* const found = begins_with(splash)     ? &splash
                                  : begins_with(clearing) ? &clearing
                                                          : &image;
        ASSERT_TRUE(begins_with(*found)) << "report " << at - all.begin();
        at += static_cast<std::ptrdiff_t>(found->size());
    }
}

TEST_F(deck_images, that_wait_for_one_deck_hold_up_no_other_and_no_key_of_theirs) {
    // Only A's keys wait, although it comes first in a pass.
    plug("/dev/A", xl_id);
    ASSERT_TRUE(
        eventually([&] { return logs("[streamdeck] attached Stream Deck XL serial=A pid=108"); }));
    bus.block_writes("/dev/A", true);
    std::thread writer([this] { EXPECT_TRUE(adapter->set_key_image("A", 0, jpeg_of(3000))); });
    ASSERT_TRUE(eventually([&] { return bus.is_write_waiting("/dev/A"); }));
    bus.queue_input("/dev/A", key_report(512, {4}));
    bus.queue_input("/dev/M", key_report(7, {1}));
    bus.queue_input("/dev/M", key_report(7));
    listen();
    expect_events({"M 0 down", "M 0 up"});
    EXPECT_TRUE(adapter->set_key_image("M", 0, black_image(deck_family::family_mini)));
    EXPECT_TRUE(adapter->clear_key("O", 0));
    EXPECT_EQ(adapter->list_decks().size(), 4U);
    EXPECT_EQ(bus.reads("/dev/A"), 0U);
    bus.block_writes("/dev/A", false);
    writer.join();
    expect_events({"M 0 down", "M 0 up", "A 0 down"});
}

TEST_F(deck_images, leave_a_deck_alone_until_the_next_scan_once_a_report_has_failed_slowly) {
    bus.fail_writes_slowly("/dev/X", milliseconds(600));
    const std::size_t scans_before = bus.scans();
    for (std::int32_t key = 0; key < 32; ++key) {
        EXPECT_FALSE(adapter->set_key_image("X", key, jpeg_of(10)));
        EXPECT_TRUE(adapter->clear_key("O", 0));
    }
    EXPECT_FALSE(adapter->show_splash("X"));
    EXPECT_FALSE(adapter->clear_all_keys("X"));
    std::vector<sent_report> reports = bus.reports();
    std::erase_if(reports, [](const sent_report& report) { return report.path != "/dev/X"; });
    EXPECT_LE(reports.size(), bus.scans() - scans_before + 1) << "one for each time it is tried";
    bus.fail_writes_slowly("/dev/X", milliseconds(0));
    EXPECT_TRUE(eventually([&] { return adapter->set_key_image("X", 0, jpeg_of(10)); }));
    EXPECT_EQ(serials().size(), 3U) << "its keys work all the time";
}

TEST_F(deck_images, of_the_splash_end_with_one_report_on_a_deck_that_fails_slowly) {
    plug("/dev/Z", xl_id);
    bus.fail_writes_slowly("/dev/Z", milliseconds(600));
    ASSERT_TRUE(
        eventually([&] { return logs("[streamdeck] attached Stream Deck XL serial=Z pid=108"); }));
    EXPECT_EQ(bus.reports().size(), 1U);
    EXPECT_EQ(log.error(), "[streamdeck] unable to paint bundled Elvantris splash for serial=Z\n");
}

TEST_F(deck_images, above_262144_bytes_are_refused_with_one_line_for_each_key) {
    EXPECT_TRUE(adapter->set_key_image("X", 3, jpeg_of(262'144)));
    bus.forget_calls();
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(adapter->set_key_image("X", 3, jpeg_of(262'145)));
        EXPECT_FALSE(adapter->set_key_image("X", 4, jpeg_of(300'000)));
    }
    EXPECT_FALSE(adapter->set_key_image("X", 3, std::string(300'000, 'x'))) << "malformed, too";
    EXPECT_EQ(sent(), texts{});
    EXPECT_EQ(log.error(),
              "[streamdeck] rejected oversized jpeg image serial=X key=3 bytes=262145\n"
              "[streamdeck] rejected oversized jpeg image serial=X key=4 bytes=300000\n"
              "[streamdeck] rejected malformed jpeg image serial=X key=3 bytes=300000\n");
}

TEST_F(deck_images, of_a_splash_fail_when_the_deck_is_pulled_in_the_middle) {
    bus.block_writes("/dev/X", true);
    std::thread writer([this] { EXPECT_FALSE(adapter->show_splash("X")); });
    ASSERT_TRUE(eventually([&] { return bus.is_write_waiting("/dev/X"); }));
    bus.pull("/dev/X");
    writer.join();
    EXPECT_TRUE(eventually([&] { return logs("[streamdeck] detached serial=X"); }));
}

TEST_F(deck_images, that_wait_for_a_deck_fail_when_it_is_pulled) {
    bus.block_writes("/dev/X", true);
    std::thread writer([this] { EXPECT_FALSE(adapter->set_key_image("X", 0, jpeg_of(3000))); });
    ASSERT_TRUE(eventually([&] { return bus.is_write_waiting("/dev/X"); }));
    bus.pull("/dev/X");
    writer.join();
    EXPECT_FALSE(adapter->clear_key("X", 0)) << "dead, whether it has departed yet or not";
}
