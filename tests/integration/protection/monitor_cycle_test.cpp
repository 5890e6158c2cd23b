#include "running_pair.hpp"

#include <mutex>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

// When the polls of a server came.
class poll_times {
public:
    void note() {
        const std::lock_guard lock(lock_);
        times_.push_back(steady_now());
    }
    // Whether so many in a row came within less than this time.
    bool came_within(std::size_t count, milliseconds limit) const {
        const std::lock_guard lock(lock_);
        for (std::size_t last = count - 1; last < times_.size(); ++last)
            if (times_[last] - times_[last + 1 - count] < limit) return true;
        return false;
    }

private:
    mutable std::mutex lock_; // guards `times_`
    std::vector<steady_time> times_;
};

// The headers after this time, the body after twice this time.
void answer_in_halves(peer_connection& connection, const std::string& serial, milliseconds half) {
    connection.read_request();
    const std::string reply = healthy_reply(serial);
    const std::size_t headers = reply.find("\r\n\r\n") + 4;
    std::this_thread::sleep_for(half);
    connection.send(reply.substr(0, headers));
    std::this_thread::sleep_for(half);
    connection.send(reply.substr(headers));
}

void trickle_for_ever(peer_connection& connection) {
    connection.read_request();
    connection.send("HTTP/1.1 200 OK\r\n\r\n");
    while (connection.wanted() && connection.send(" "))
        std::this_thread::sleep_for(50ms);
}

class monitor_cycle : public running_pair {
protected:
    monitor_cycle() {
        policy.armed = false;
        policy.lossMs = 500;
        policy.startupMs = 1000;
    }

    void start_with(const scripted_peer& main, const scripted_peer& backup) {
        know({{"127.0.0.1", main.port(), "", "M1"}, {"127.0.0.1", backup.port(), "", "B1"}});
        start();
    }
    void start() {
        ASSERT_TRUE(service->replace_policy(write_policy(policy), error)) << error;
        service->start();
    }
    bool stands(const std::string& beginning) const { return alerts(beginning, true) != 0; }
    std::size_t alerts(const std::string& beginning, bool only_active) const {
        std::size_t found = 0;
        for (const alert_record& alert : shown().alerts)
            if (alert.message.starts_with(beginning) && (!only_active || alert.active)) ++found;
        return found;
    }
    // Whether no alert with this beginning stands or is raised while so many connections come. The
    // margins are small against the pauses of a busy machine, so there are several tries.
    bool undisturbed_for(const std::string& beginning, const scripted_peer& peer,
                         std::size_t connections) const {
        for (int attempt = 0; attempt < 30; ++attempt) {
            const bool stood_before = stands(beginning);
            const std::size_t before = alerts(beginning, false);
            const std::size_t until = peer.connections() + connections;
            if (!comes_true([&] { return peer.connections() >= until; })) return false;
            if (!stood_before && !stands(beginning) && alerts(beginning, false) == before)
                return true;
        }
        return false;
    }

    protection_policy policy;
};

const std::string backup_lost = "Backup: Server communication lost.";

} // namespace

TEST_F(monitor_cycle, counts_its_period_from_the_beginning_of_each_cycle) {
    poll_times times;
    const auto in_150_ms = [&](const std::string& serial) {
        return [&times, serial](peer_connection& connection) {
            if (serial == "M1") times.note();
            connection.read_request();
            std::this_thread::sleep_for(150ms);
            connection.send(healthy_reply(serial));
        };
    };
    const scripted_peer main(in_150_ms("M1"));
    const scripted_peer backup(in_150_ms("B1"));
    start_with(main, backup);
    EXPECT_TRUE(comes_true([&] { return times.came_within(8, 2600ms); }))
        << "with a pause behind each poll they take 2.8 seconds";
    service->stop();
}

TEST_F(monitor_cycle, goes_on_at_once_where_a_poll_took_longer_than_the_period) {
    poll_times times;
    const scripted_peer main([&](peer_connection& connection) {
        times.note();
        connection.hang();
    });
    start_with(main, backup_server);
    EXPECT_TRUE(comes_true([&] { return times.came_within(6, 2800ms); }))
        << "with a pause behind each poll they take 3 seconds";
    service->stop();
}

TEST_F(monitor_cycle, asks_main_again_while_a_trickling_backup_is_waited_for) {
    const scripted_peer backup(trickle_for_ever);
    start_with(main_server, backup);
    ASSERT_TRUE(comes_true([&] { return stands(backup_lost); })) << "the grace is over";
    EXPECT_TRUE(undisturbed_for("Main: ", backup, 3));
    EXPECT_TRUE(comes_true([&] { return registry.active_role() == "main"; }));
    service->stop();
}

TEST_F(monitor_cycle, asks_backup_again_while_a_slow_main_is_awaited) {
    const scripted_peer main(
        [](peer_connection& connection) { answer_in_halves(connection, "M1", 300ms); });
    // Two of three polls are lost.
    const scripted_peer backup([](peer_connection& connection) {
        connection.read_request();
        if (connection.index() % 3 == 0)
            connection.send(healthy_reply("B1"));
        else
            connection.hang();
    });
    policy.lossMs = 1300; // and a busy machine's share
    start_with(main, backup);
    ASSERT_TRUE(comes_true([&] { return age_of("B1") >= 0 && backup.connections() >= 6; }));
    EXPECT_TRUE(undisturbed_for("Backup: ", backup, 9));
    service->stop();
}

TEST_F(monitor_cycle, judges_each_answer_by_the_stall_time_of_the_policy) {
    const scripted_peer main(replies(http_reply_text(200, healthy_body("M1", 1700))));
    const auto stalled = [&](bool expected) {
        return comes_true(
            [&] { return age_of("M1") >= 0 && system_of("M1")->frame_stalled == expected; });
    };
    policy.stallMs = 5000;
    start_with(main, backup_server);
    EXPECT_TRUE(stalled(false));
    policy.stallMs = 1000;
    ASSERT_TRUE(service->replace_policy(write_policy(policy), error)) << error;
    EXPECT_TRUE(stalled(true));
    service->stop();
}

TEST_F(monitor_cycle, polls_no_main_without_an_address_and_finds_it_lost_after_the_grace) {
    know({{"", main_server.port(), "", "M1"}});
    start();
    EXPECT_TRUE(comes_true([&] { return stands("Main: Server communication lost."); }));
    EXPECT_EQ(main_server.connections(), 0U);
    service->stop();
}
