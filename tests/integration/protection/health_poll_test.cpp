#include "protection/health_poll.hpp"

#include "integration/support/scripted_peer.hpp"
#include "os/clock.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t stall_ms = 1500;
constexpr std::chrono::milliseconds longest{750};
const std::string health_path = "/Home/GetVorHealth";
const std::string identity_path = "/Home/GetOperatorControlIdentity";
const std::string good_health =
    R"({"serial":"S1","version":1,"engineRunning":true,"telemetryAvailable":true,)"
    R"("channels":[{"ageMs":1500}],"outputs":[{"id":"o1","available":true}]})";
const std::string good_identity = R"({"Serial":"S1"})";

system_record server_on(std::uint16_t port) {
    system_record system;
    system.serial = "S1";
    system.address = "127.0.0.1";
    system.webPort = port;
    return system;
}

std::optional<server_health> ask(const scripted_peer& peer, milliseconds limit = longest) {
    return ask_health(server_on(peer.port()), stall_ms, limit).health;
}

// A JSON object with white space behind it, of this many bytes.
std::string padded(const std::string& object, std::size_t size) {
    std::string text(size, ' ');
    std::ranges::copy(object, text.begin());
    return text;
}

} // namespace

TEST(ask_health, sends_one_plain_request_and_reads_the_reply) {
    const scripted_peer peer(replies(http_reply_text(200, good_health)));
    const steady_time before = steady_now();
    const auto health = ask(peer);
    ASSERT_TRUE(health.has_value());
    EXPECT_TRUE(health->reachable);
    EXPECT_TRUE(health->supported);
    EXPECT_TRUE(health->engineRunning);
    EXPECT_TRUE(health->frameStalled);
    EXPECT_EQ(health->outputs, R"([{"id":"o1","available":true}])");
    EXPECT_GE(health->lastSeen, before);
    EXPECT_LE(health->lastSeen, steady_now());
    EXPECT_EQ(peer.received(),
              std::vector<std::string>{"GET /Home/GetVorHealth HTTP/1.1\r\nHost: 127.0.0.1:" +
                                       std::to_string(peer.port()) +
                                       "\r\nConnection: close\r\nAccept: "
                                       "application/json,text/plain,*/*\r\n\r\n"});
}

TEST(ask_health, passes_the_stall_time_on) {
    const scripted_peer peer(replies(http_reply_text(200, good_health)));
    const auto health = ask_health(server_on(peer.port()), stall_ms + 1, longest).health;
    ASSERT_TRUE(health.has_value());
    EXPECT_FALSE(health->frameStalled);
}

TEST(ask_health, falls_back_to_the_identity_where_the_call_is_unknown) {
    const scripted_peer peer(
        replies_by_path({{identity_path, http_reply_text(200, good_identity)}}));
    const auto health = ask(peer);
    ASSERT_TRUE(health.has_value());
    EXPECT_TRUE(health->reachable);
    EXPECT_FALSE(health->supported);
    EXPECT_EQ(health->outputs, "[]");
    const auto received = peer.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(request_target(received[0]), "GET " + health_path);
    EXPECT_EQ(request_target(received[1]), "GET " + identity_path);
}

TEST(ask_health, learns_nothing_from_an_identity_that_fails) {
    const std::vector<std::string> identities{http_reply_text(404, good_identity),
                                              http_reply_text(500, good_identity),
                                              http_reply_text(200, R"({"Serial":"S2"})"),
                                              http_reply_text(200, R"({"serial":"S1"})"),
                                              http_reply_text(200, ""),
                                              "garbage"};
    for (const std::string& identity : identities) {
        SCOPED_TRACE(identity);
        const scripted_peer peer(replies_by_path({{identity_path, identity}}));
        EXPECT_FALSE(ask(peer).has_value());
        EXPECT_EQ(peer.connections(), 2U);
    }
}

TEST(ask_health, learns_nothing_from_any_other_answer_and_asks_no_further) {
    const std::vector<std::string> answers{
        http_reply_text(200, R"({"serial":"S1","version":2})"),
        http_reply_text(200, R"({"serial":"S2","version":1})"),
        http_reply_text(200, ""),
        http_reply_text(200, "garbage"),
        http_reply_text(500, good_health),
        http_reply_text(403, good_health),
        http_reply_text(302, good_health),
        "",
        "\r\n",
        "garbage",
        std::string("\0\xff\r\n\r\n", 6) + good_health,
        "HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" + good_health,
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n" + good_health,
    };
    for (const std::string& answer : answers) {
        SCOPED_TRACE(answer);
        const scripted_peer peer(replies_by_path(
            {{health_path, answer}, {identity_path, http_reply_text(200, good_identity)}}));
        EXPECT_FALSE(ask(peer).has_value());
        EXPECT_EQ(peer.connections(), 1U);
    }
}

TEST(ask_health, learns_nothing_where_nobody_listens_or_the_connection_is_reset) {
    EXPECT_EQ(ask_health(server_on(closed_port()), stall_ms, longest).outcome,
              poll_outcome::unanswered);
    const scripted_peer peer([](peer_connection& connection) { connection.reset(); });
    EXPECT_FALSE(ask(peer).has_value());
}

TEST(ask_health, understands_a_chunked_reply) {
    const std::string half = good_health.substr(0, 16);
    const scripted_peer peer(replies("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n10\r\n" +
                                     half + "\r\n1\r\n" + good_health.substr(16, 1) +
                                     "\r\n0\r\n\r\n"));
    EXPECT_FALSE(ask(peer).has_value()) << "decoded, and not the whole of the reply";
    const scripted_peer whole(replies("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1c\r\n"
                                      R"({"serial":"S1","version":1 })"
                                      "\r\n0\r\n\r\n"));
    EXPECT_TRUE(ask(whole).has_value());
}

TEST(ask_health, reads_a_reply_up_to_its_limit_and_none_beyond_it) {
    const std::size_t limit = 262'144;
    const std::size_t headers = http_reply_text(200, padded("", limit)).size() - limit;
    const scripted_peer fits(replies(http_reply_text(200, padded(good_health, limit - headers))));
    EXPECT_TRUE(ask(fits).has_value());
    // One read may carry the text past its limit by up to 16,384 bytes.
    const scripted_peer over(replies(http_reply_text(200, padded(good_health, limit + 16'384))));
    EXPECT_FALSE(ask(over).has_value());
}

TEST(ask_health, reads_an_identity_up_to_its_own_small_limit) {
    const auto identity_of = [](std::size_t size) {
        return replies_by_path(
            {{identity_path, http_reply_text(200, padded(good_identity, size))}});
    };
    const scripted_peer fits(identity_of(4000));
    EXPECT_TRUE(ask(fits).has_value());
    const scripted_peer over(identity_of(4096 + 16'384));
    EXPECT_FALSE(ask(over).has_value());
}

TEST(ask_health, takes_a_whole_reply_from_a_server_that_does_not_hang_up) {
    const scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send(http_reply_text(200, good_health));
        connection.hang();
    });
    EXPECT_TRUE(ask(peer).has_value());
}

TEST(ask_health, reads_both_answers_of_a_server_that_frames_nothing_and_does_not_hang_up) {
    const scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send(connection.index() == 0 ? "HTTP/1.1 404 Not Found\r\n\r\n"
                                                : "HTTP/1.1 200 OK\r\n\r\n" + good_identity);
        connection.hang();
    });
    EXPECT_TRUE(ask(peer, 3s).has_value());
}

TEST(ask_health, gives_a_server_up_that_hangs) {
    const scripted_peer peer([](peer_connection& connection) { connection.hang(); });
    const steady_time before = steady_now();
    EXPECT_FALSE(ask(peer).has_value());
    const auto waited = steady_now() - before;
    EXPECT_GE(waited, 340ms);
    EXPECT_LT(waited, 15s);
}

TEST(ask_health, ends_as_a_whole_though_a_server_trickles_its_answer_for_ever) {
    const scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n{\"serial\":\"S1\"");
        const steady_time end = steady_now() + 20s;
        while (connection.wanted() && steady_now() < end && connection.send(" "))
            std::this_thread::sleep_for(50ms);
    });
    const steady_time before = steady_now();
    EXPECT_FALSE(ask(peer).has_value());
    const auto waited = steady_now() - before;
    EXPECT_GE(waited, 740ms);
    EXPECT_LT(waited, 15s);
}

// The part that came would pass for a server whose engine has stopped.
TEST(ask_health, learns_nothing_from_an_unframed_answer_that_it_cut) {
    const scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n{\"serial\":\"S1\",\"version\":1,");
        const steady_time end = steady_now() + 1200ms;
        while (connection.wanted() && steady_now() < end && connection.send(" "))
            std::this_thread::sleep_for(50ms);
        connection.send("\"engineRunning\":true}");
    });
    EXPECT_FALSE(ask(peer).has_value());
}

TEST(ask_health, bounds_both_requests_of_the_fallback_together) {
    const scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        const steady_time end = steady_now() + 20s;
        if (connection.index() == 0) {
            connection.send("HTTP/1.1 404 Not Found\r\n\r\n");
            const steady_time slow_end = steady_now() + 500ms;
            while (connection.wanted() && steady_now() < slow_end && connection.send(" "))
                std::this_thread::sleep_for(50ms);
            return;
        }
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        while (connection.wanted() && steady_now() < end && connection.send(" "))
            std::this_thread::sleep_for(50ms);
    });
    const steady_time before = steady_now();
    EXPECT_FALSE(ask(peer).has_value());
    EXPECT_LT(steady_now() - before, 15s);
    EXPECT_EQ(peer.connections(), 2U);
}
