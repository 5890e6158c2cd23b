// The real adapter, on its real thread, on a bus that the test owns.
#pragma once

#include "decks/hid_streamdeck_adapter.hpp"
#include "integration/support/captured_log.hpp"
#include "integration/support/eventually.hpp"
#include "integration/support/hid_stand_in.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>

namespace elvantris::operator_control {

inline constexpr std::uint16_t original_id = 0x0060;
inline constexpr std::uint16_t mk2_id = 0x0080;
inline constexpr std::uint16_t xl_id = 0x006C;
inline constexpr std::uint16_t mini_id = 0x0063;

class running_adapter : public testing::Test {
protected:
    void TearDown() override {
        adapter->stop();
        EXPECT_EQ(bus.misuse(), std::vector<std::string>{});
    }

    // Plugs each with its path's last letter as the serial.
    void plug(const std::string& path, std::uint16_t product_id) {
        bus.plug({.path = path,
                  .product_id = product_id,
                  .serial = std::wstring(1, static_cast<wchar_t>(path.back()))});
    }
    void start_with(std::size_t decks) {
        ASSERT_TRUE(adapter->start());
        ASSERT_TRUE(eventually([&] { return attached_lines() == decks; })) << log.output();
    }
    // Waits until that many scans have begun from now on.
    void wait_for_scans(std::size_t count) {
        const std::size_t wanted = bus.scans() + count;
        ASSERT_TRUE(eventually([&] { return bus.scans() >= wanted; }));
    }
    // A deck that is pulled before its first read since a scan has failed all of them.
    void wait_for_a_read(const std::string& path) {
        const std::size_t before = bus.reads(path);
        ASSERT_TRUE(eventually([&] { return bus.reads(path) > before; }));
    }

    // Writes down "A 3 down" for every key.
    void listen() {
        adapter->set_key_handler([this](const std::string& serial, std::int32_t key, bool down) {
            const std::lock_guard lock(events_mutex);
            heard.push_back(serial + ' ' + std::to_string(key) + (down ? " down" : " up"));
        });
    }
    std::vector<std::string> events() {
        const std::lock_guard lock(events_mutex);
        return heard;
    }
    void expect_events(const std::vector<std::string>& expected) {
        eventually([&] { return events().size() >= expected.size(); });
        EXPECT_EQ(events(), expected);
    }

    std::vector<std::string> serials() {
        std::vector<std::string> found;
        for (const deck_info& deck : adapter->list_decks())
            found.push_back(deck.serial);
        return found;
    }
    bool logs(const std::string& line) {
        return log.output().find(line + '\n') != std::string::npos ||
               log.error().find(line + '\n') != std::string::npos;
    }

    captured_log log;
    hid_stand_in bus;
    std::mutex events_mutex;
    std::vector<std::string> heard;
    // The last to be made and the first to go: its thread uses all of the above.
    std::unique_ptr<streamdeck_adapter> adapter = create_hid_streamdeck_adapter();

private:
    std::size_t attached_lines() {
        const std::string text = log.output();
        std::size_t count = 0;
        for (std::size_t at = text.find("attached "); at != std::string::npos;
             at = text.find("attached ", at + 1))
            ++count;
        return count;
    }
};

// A report of the given length that begins with the id of the key states; these bytes are 1.
inline std::string key_report(std::size_t size, const std::set<std::size_t>& set = {}) {
    std::string report(size, '\0');
    report[0] = 1;
    for (const std::size_t at : set)
        report[at] = 1;
    return report;
}

} // namespace elvantris::operator_control
