// An exchange during which this computer loses its network, or what it needs to ask.
#include "systems/server_http.hpp"

#include "integration/support/eventually.hpp"
#include "integration/support/linux/failing_system_call.hpp"
#include "integration/support/linux/without_descriptors.hpp"
#include "integration/support/scripted_peer.hpp"
#include "protection/health_poll.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <sys/syscall.h>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

http_call call_to(const std::string& host, const scripted_peer& peer) {
    return {.host = host,
            .port = peer.port(),
            .method = "GET",
            .path = "/",
            .body = {},
            .content_type = {},
            .timeout = 1000ms};
}

network_failure ask(const http_call& call, const call_limits& limits = {}) {
    const attempted_exchange attempt = attempt_exchange_bounded(call, 1000, limits);
    EXPECT_EQ(attempt.response.status, 0);
    return attempt.failure;
}

} // namespace

TEST(attempt_exchange_bounded, sees_that_the_interface_went_down_while_the_answer_was_awaited) {
    const scripted_peer silent([](peer_connection& connection) { connection.hang(); });
    for (const std::string host : {"127.0.0.1", "localhost"}) {
        EXPECT_EQ(ask(call_to(host, silent)), network_failure::unanswered) << host;
        std::thread([&] {
            // The connection stands; from then on no way leads anywhere.
            bool cut_off = false;
            const std::size_t before = silent.connections();
            const call_limits limits{.given_up = [&] {
                if (!cut_off && silent.connections() > before) {
                    let_system_call_fail(SYS_connect, ENETUNREACH);
                    cut_off = true;
                }
                return false;
            }};
            http_call call = call_to(host, silent);
            call.timeout = 2000ms; // a busy machine may take long to accept
            EXPECT_EQ(ask(call, limits), network_failure::no_network) << host;
        }).join();
    }
}

TEST(attempt_exchange_bounded, tells_that_this_computer_could_not_ask) {
    const scripted_peer peer(replies(http_reply_text(200, "")));
    for (const std::string host : {"127.0.0.1", "localhost"}) {
        const without_descriptors none;
        EXPECT_EQ(ask(call_to(host, peer)), network_failure::no_resources) << host;
    }
    for (const long number : {SYS_sendto, SYS_recvfrom})
        with_failing_system_call(number, ENOBUFS, [&] {
            EXPECT_EQ(ask(call_to("127.0.0.1", peer)), network_failure::no_resources) << number;
        });
}

// The part that came would pass for the whole answer, of a server whose engine has stopped.
TEST(attempt_exchange_bounded, takes_no_unframed_answer_that_it_had_no_buffer_to_read_on) {
    const std::string body = R"({"serial":"S1","version":1,)";
    const auto answer_to = [](const std::string& beginning) {
        std::atomic<bool> began = false;
        std::atomic<bool> starved = false;
        const scripted_peer peer([&](peer_connection& connection) {
            connection.read_request();
            connection.send(beginning);
            began = true;
            eventually([&] { return starved || !connection.wanted(); });
            connection.send("the rest");
        });
        attempted_exchange attempt;
        std::thread([&] {
            // Twice in each turn of reading: what has arrived is read by the fourth time.
            int asked_since = 0;
            const call_limits limits{.given_up = [&] {
                if (began && ++asked_since == 4) {
                    let_system_call_fail(SYS_recvfrom, ENOBUFS);
                    starved = true;
                }
                return false;
            }};
            http_call call = call_to("127.0.0.1", peer);
            call.timeout = patience;
            attempt = attempt_exchange_bounded(call, 1000, limits);
        }).join();
        EXPECT_TRUE(starved);
        return attempt;
    };
    const attempted_exchange unframed = answer_to("HTTP/1.1 200 OK\r\n\r\n" + body);
    EXPECT_EQ(unframed.response.status, 0);
    EXPECT_EQ(unframed.failure, network_failure::no_resources);

    const attempted_exchange whole = answer_to(http_reply_text(200, body));
    EXPECT_EQ(whole.response.status, 200);
    EXPECT_EQ(whole.response.body, body);
    EXPECT_EQ(whole.failure, network_failure::none);
}

TEST(ask_health, says_nothing_about_a_server_that_could_not_be_asked) {
    const scripted_peer peer(replies(http_reply_text(200, "")));
    system_record system;
    system.webPort = peer.port();
    for (const std::string host : {"127.0.0.1", "localhost"}) {
        system.address = host;
        const without_descriptors none;
        EXPECT_EQ(ask_health(system, 1500, 60s).outcome, poll_outcome::no_resources) << host;
    }
}
