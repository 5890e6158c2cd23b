#include "integration/protection/watched_pair.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr int most_rules = 128;

// How often files of a folder have been closed after writing.
class closed_writes {
public:
    explicit closed_writes(const std::string& folder) : queue_(::inotify_init1(IN_NONBLOCK)) {
        // The openings as well: the system joins events that are alike and follow each other.
        ::inotify_add_watch(queue_, folder.c_str(), IN_OPEN | IN_CLOSE_WRITE);
    }
    ~closed_writes() { ::close(queue_); }
    closed_writes(const closed_writes&) = delete;
    closed_writes& operator=(const closed_writes&) = delete;
    closed_writes(closed_writes&&) = delete;
    closed_writes& operator=(closed_writes&&) = delete;

    // Since the last call. The system notes a write before the writer goes on.
    int count() const {
        alignas(inotify_event) std::array<char, 4096> events{};
        int found = 0;
        for (ssize_t size = 0; (size = ::read(queue_, events.data(), events.size())) > 0;)
            for (ssize_t at = 0; at < size;) {
                const auto* event = reinterpret_cast<const inotify_event*>(events.data() + at);
                if ((event->mask & IN_CLOSE_WRITE) != 0) ++found;
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        return found;
    }

private:
    int queue_;
};

class alert_storm : public watched_pair {};

} // namespace

TEST_F(alert_storm, costs_the_disk_one_write_in_a_cycle_for_all_of_its_lines) {
    change_policy([](protection_policy& policy) {
        policy.outputMs = 500;
        for (int each = 0; each < most_rules; ++each) {
            const std::string id = std::to_string(each);
            policy.outputRules.push_back(rule_for(id, id, mode_alert));
        }
    });
    watch(); // no output of either server is there
    const closed_writes writes(std::filesystem::path(state_path()).parent_path().string());
    cycle_after(500ms);
    EXPECT_EQ(writes.count(), 1);
    EXPECT_EQ(alerts().size(), 200U);
    const std::size_t lines = log_lines().size();
    EXPECT_GE(lines, 2U * most_rules);
    // More than the list holds: each cycle raises anew what it had to drop.
    cycle_after(250ms);
    EXPECT_EQ(writes.count(), 1);
    EXPECT_GE(log_lines().size(), lines + 2U * most_rules);
}
