#include "systems/server_http.hpp"

#include "integration/support/choked_listener.hpp"
#include "integration/support/failing_memory.hpp"
#include "integration/support/scripted_peer.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::uint64_t ample = 1'000'000;

http_call get_call(std::uint16_t port) {
    return {.host = "127.0.0.1",
            .port = port,
            .method = "GET",
            .path = "/Home/Thing?a=1",
            .body = {},
            .content_type = "text/plain",
            .timeout = 60s};
}

http_call post_call(std::uint16_t port) {
    http_call call = get_call(port);
    call.method = "POST";
    call.body = std::string("a=\0&b=\r\n\r\n", 11);
    call.content_type = "application/x-www-form-urlencoded";
    return call;
}

// Both forms, asked alike.
std::map<std::string, http_response> ask_both(const http_call& call) {
    return {{"plain", http_exchange(call)}, {"bounded", http_exchange_bounded(call, ample)}};
}

void expect_both(const http_call& call, std::int32_t status, const std::string& body) {
    for (const auto& [form, response] : ask_both(call)) {
        EXPECT_EQ(response.status, status) << form;
        EXPECT_EQ(response.body, body) << form;
    }
}

// Sends a reply's beginning and then nothing more.
peer_script stalls_after(std::string bytes) {
    return [bytes = std::move(bytes)](peer_connection& connection) {
        connection.read_request();
        connection.send(bytes);
        connection.hang();
    };
}

} // namespace

TEST(http_exchange, sends_the_host_without_its_port) {
    scripted_peer peer(replies(http_reply_text(200, "hello")));
    const http_response response = http_exchange(get_call(peer.port()));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, "hello");
    EXPECT_EQ(peer.received(),
              std::vector<std::string>{"GET /Home/Thing?a=1 HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                       "Connection: close\r\n"
                                       "Accept: application/json,text/plain,*/*\r\n\r\n"});
}

TEST(http_exchange_bounded, sends_the_host_with_its_port) {
    scripted_peer peer(replies(http_reply_text(200, "hello")));
    const http_response response = http_exchange_bounded(get_call(peer.port()), ample);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, "hello");
    EXPECT_EQ(peer.received(),
              std::vector<std::string>{
                  "GET /Home/Thing?a=1 HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(peer.port()) +
                  "\r\nConnection: close\r\nAccept: application/json,text/plain,*/*\r\n\r\n"});
}

TEST(http_exchange, names_type_and_length_of_a_body_and_sends_it_whole) {
    scripted_peer peer(replies(http_reply_text(200, "")));
    const http_call call = post_call(peer.port());
    EXPECT_EQ(http_exchange(call).status, 200);
    EXPECT_EQ(peer.received(),
              std::vector<std::string>{"POST /Home/Thing?a=1 HTTP/1.1\r\nHost: 127.0.0.1\r\n"
                                       "Connection: close\r\n"
                                       "Accept: application/json,text/plain,*/*\r\n"
                                       "Content-Type: application/x-www-form-urlencoded\r\n"
                                       "Content-Length: 11\r\n\r\n" +
                                       call.body});
}

TEST(http_exchange_bounded, names_type_and_length_of_a_body_and_sends_it_whole) {
    scripted_peer peer(replies(http_reply_text(200, "")));
    const http_call call = post_call(peer.port());
    EXPECT_EQ(http_exchange_bounded(call, ample).status, 200);
    EXPECT_EQ(peer.received(),
              std::vector<std::string>{"POST /Home/Thing?a=1 HTTP/1.1\r\nHost: 127.0.0.1:" +
                                       std::to_string(peer.port()) +
                                       "\r\nConnection: close\r\n"
                                       "Accept: application/json,text/plain,*/*\r\n"
                                       "Content-Type: application/x-www-form-urlencoded\r\n"
                                       "Content-Length: 11\r\n\r\n" +
                                       call.body});
}

TEST(both_exchanges, send_a_body_of_many_megabytes_to_a_slow_reader) {
    scripted_peer peer(replies(http_reply_text(200, "OK")));
    http_call call = post_call(peer.port());
    call.body.assign(20'000'000, 'x');
    expect_both(call, 200, "OK");
    ASSERT_EQ(peer.received().size(), 2U);
    for (const std::string& request : peer.received())
        EXPECT_EQ(request_body(request).size(), call.body.size());
}

TEST(both_exchanges, use_one_connection_for_one_request) {
    scripted_peer peer(replies(http_reply_text(200, "")));
    const http_call call = get_call(peer.port());
    http_exchange(call);
    http_exchange(call);
    http_exchange_bounded(call, ample);
    EXPECT_EQ(peer.connections(), 3U);
}

TEST(both_exchanges, hand_on_a_status_other_than_200_with_its_body) {
    scripted_peer peer(replies(http_reply_text(503, "busy")));
    expect_both(get_call(peer.port()), 503, "busy");
}

TEST(both_exchanges, read_a_reply_that_arrives_in_pieces) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        for (const char byte : http_reply_text(200, "in pieces"))
            connection.send({&byte, 1});
    });
    expect_both(get_call(peer.port()), 200, "in pieces");
}

TEST(both_exchanges, have_no_limit_as_a_whole_unless_one_is_named) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        for (const char byte : std::string_view("8 pieces")) {
            std::this_thread::sleep_for(200ms);
            connection.send({&byte, 1});
        }
    });
    http_call call = get_call(peer.port());
    call.timeout = 1200ms;
    expect_both(call, 200, "8 pieces");
}

TEST(both_exchanges, follow_no_redirect) {
    scripted_peer peer(replies("HTTP/1.1 302 Found\r\nLocation: /other\r\n\r\n"));
    expect_both(get_call(peer.port()), 302, "");
    EXPECT_EQ(peer.connections(), 2U);
}

TEST(both_exchanges, resolve_a_host_name) {
    scripted_peer peer(replies(http_reply_text(200, "named")));
    http_call call = get_call(peer.port());
    call.host = "localhost";
    expect_both(call, 200, "named");
    for (const std::string& request : peer.received())
        EXPECT_NE(request.find("Host: localhost"), std::string::npos);
}

TEST(both_exchanges, give_status_0_where_nobody_listens) {
    expect_both(get_call(closed_port()), 0, "");
}

TEST(both_exchanges, give_status_0_for_a_host_that_cannot_be_resolved) {
    // Neither can be a name, so no name server is asked.
    for (const std::string& host : {std::string("a..b"), std::string(300, 'a')}) {
        http_call call = get_call(1);
        call.host = host;
        expect_both(call, 0, "");
    }
}

TEST(both_exchanges, give_status_0_for_a_server_that_hangs_up_without_a_word) {
    scripted_peer peer([](peer_connection& connection) { connection.read_request(); });
    expect_both(get_call(peer.port()), 0, "");
}

TEST(both_exchanges, give_status_0_for_a_server_that_resets_the_connection) {
    scripted_peer peer([](peer_connection& connection) { connection.reset(); });
    expect_both(get_call(peer.port()), 0, "");
}

TEST(both_exchanges, give_status_0_for_a_server_that_never_answers) {
    scripted_peer peer([](peer_connection& connection) { connection.hang(); });
    http_call call = get_call(peer.port());
    call.timeout = 50ms;
    expect_both(call, 0, "");
}

TEST(both_exchanges, give_status_0_for_a_connection_that_does_not_come_about_in_time) {
    const choked_listener listener;
    http_call call = get_call(listener.port());
    call.timeout = 100ms;
    const steady_time start = steady_now();
    expect_both(call, 0, "");
    EXPECT_LT(steady_now() - start, 30s);
}

TEST(both_exchanges, give_status_0_for_a_server_that_never_reads_a_long_request) {
    scripted_peer peer([](peer_connection& connection) { connection.ignore(); });
    http_call call = post_call(peer.port());
    call.body.assign(30'000'000, 'x');
    call.timeout = 100ms;
    expect_both(call, 0, "");
}

TEST(both_exchanges, give_status_0_for_an_answer_that_is_no_http) {
    scripted_peer peer(replies("SSH-2.0-something\r\n"));
    expect_both(get_call(peer.port()), 0, "");
}

TEST(http_exchange, parses_what_came_before_the_time_out) {
    scripted_peer peer(stalls_after("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"));
    http_call call = get_call(peer.port());
    call.timeout = 2000ms;
    const http_response response = http_exchange(call);
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, "half");
}

TEST(http_exchange_bounded, sees_that_a_timed_out_reply_is_cut_by_its_length_or_its_chunks) {
    for (const std::string cut :
         {"Content-Length: 10\r\n\r\nhalf", "Transfer-Encoding: chunked\r\n\r\n4\r\nhalf\r\n"}) {
        scripted_peer peer(stalls_after("HTTP/1.1 200 OK\r\n" + cut));
        http_call call = get_call(peer.port());
        call.timeout = 50ms;
        const http_response response = http_exchange_bounded(call, ample);
        EXPECT_EQ(response.status, 0) << cut;
        EXPECT_EQ(response.body, "") << cut;
    }
}

TEST(http_exchange_bounded, takes_a_complete_reply_from_a_server_that_keeps_the_connection) {
    scripted_peer peer(stalls_after(http_reply_text(200, "whole")));
    http_call call = get_call(peer.port());
    call.timeout = 2000ms;
    EXPECT_EQ(http_exchange_bounded(call, ample).body, "whole");
}

TEST(http_exchange, leaves_chunks_as_they_are_and_the_bounded_form_joins_them) {
    const std::string chunks = "2\r\nab\r\n3\r\ncde\r\n0\r\n\r\n";
    scripted_peer peer(replies("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks));
    const auto responses = ask_both(get_call(peer.port()));
    EXPECT_EQ(responses.at("plain").body, chunks);
    EXPECT_EQ(responses.at("bounded").body, "abcde");
}

TEST(http_exchange, ends_reading_at_32_mebibytes_within_one_buffer) {
    constexpr std::size_t limit = 33'554'432;
    constexpr std::size_t buffer = 16'384;
    const std::string head = "HTTP/1.1 200 OK\r\n\r\n";
    scripted_peer peer([&](peer_connection& connection) {
        connection.read_request();
        connection.send(head + std::string(limit + 8 * buffer, 'x'));
    });
    const http_response response = http_exchange(get_call(peer.port()));
    EXPECT_EQ(response.status, 200);
    EXPECT_GE(response.body.size() + head.size(), limit);
    EXPECT_LT(response.body.size() + head.size(), limit + buffer);
}

TEST(both_exchanges, take_no_memory_for_what_is_announced_and_does_not_come) {
    const std::string announced = "HTTP/1.1 200 OK\r\nContent-Length: 33554432\r\n\r\n";
    scripted_peer peer(replies(announced + std::string(500'000, 'x')));
    const http_call call = get_call(peer.port());
    const no_large_memory memory(4U * 1024 * 1024);
    EXPECT_EQ(http_exchange(call).body.size(), 500'000U);
    EXPECT_EQ(http_exchange_bounded(call, 33'554'432).status, 0);
}

TEST(http_exchange, holds_a_large_answer_once) {
    const std::string reply = "HTTP/1.1 200 OK\r\n\r\n" + std::string(34'000'000, 'x');
    scripted_peer peer([&](peer_connection& connection) {
        connection.read_request();
        connection.send(reply);
    });
    const no_large_memory memory(33'600'000);
    EXPECT_GT(http_exchange(get_call(peer.port())).body.size(), 33'500'000U);
}

TEST(http_exchange_bounded, reads_nothing_for_a_limit_of_0) {
    scripted_peer peer(replies(http_reply_text(200, "hello")));
    const http_response response = http_exchange_bounded(get_call(peer.port()), 0);
    EXPECT_EQ(response.status, 0);
    EXPECT_EQ(response.body, "");
}

TEST(http_exchange_bounded, parses_what_the_read_limit_lets_through) {
    constexpr std::size_t sent = 200'000;
    constexpr std::size_t limit = 4096;
    constexpr std::size_t buffer = 16'384;
    const std::string body(sent, 'x');
    scripted_peer unframed(replies("HTTP/1.1 200 OK\r\n\r\n" + body));
    const http_response cut = http_exchange_bounded(get_call(unframed.port()), limit);
    EXPECT_EQ(cut.status, 200);
    EXPECT_GE(cut.body.size() + 19, limit);
    EXPECT_LT(cut.body.size() + 19, limit + buffer);

    scripted_peer framed(replies(http_reply_text(200, body)));
    EXPECT_EQ(http_exchange_bounded(get_call(framed.port()), limit).status, 0);
    EXPECT_EQ(http_exchange_bounded(get_call(framed.port()), sent + buffer).status, 200);
}

TEST(http_exchange_bounded, ends_at_its_deadline_though_each_single_step_is_quick) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        while (connection.wanted() && connection.send("x"))
            std::this_thread::sleep_for(1ms);
    });
    const steady_time begun = steady_now();
    EXPECT_EQ(http_exchange_bounded(get_call(peer.port()), ample, 200ms).status, 0);
    EXPECT_GE(steady_now() - begun, 190ms);
    EXPECT_LT(steady_now() - begun, 30s);
}

TEST(http_exchange_bounded, ends_at_its_deadline_though_the_server_never_pauses) {
    constexpr std::uint64_t far_limit = 256U * 1024 * 1024;
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        const std::string block(64, 'x'); // small, so that little comes in the time allowed
        while (connection.wanted() && connection.send(block)) {
        }
    });
    const steady_time begun = steady_now();
    EXPECT_EQ(http_exchange_bounded(get_call(peer.port()), far_limit, 300ms).status, 0);
    EXPECT_LT(steady_now() - begun, 30s);
}

TEST(http_exchange_bounded, takes_what_is_framed_though_its_deadline_cuts_the_connection) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send(http_reply_text(200, "hello"));
        connection.hang();
    });
    EXPECT_EQ(http_exchange_bounded(get_call(peer.port()), ample, 2000ms).body, "hello");
}

TEST(http_exchange_bounded, does_not_ask_after_its_deadline) {
    scripted_peer peer(replies(http_reply_text(200, "hello")));
    EXPECT_EQ(http_exchange_bounded(get_call(peer.port()), ample, 0ms).status, 0);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST(both_exchanges, are_over_when_nobody_wants_them_any_more) {
    scripted_peer silent([](peer_connection& connection) { connection.hang(); });
    scripted_peer full([](peer_connection& connection) { connection.ignore(); });
    std::atomic<int> asked = 0;
    const call_limits limits{.given_up = [&] { return ++asked > 3; }};
    http_call large = get_call(full.port());
    large.method = "POST";
    large.body = std::string(16U * 1024 * 1024, 'x'); // more than the system takes in advance
    for (const http_call& call : {get_call(silent.port()), large}) {
        const steady_time begun = steady_now();
        asked = 0;
        EXPECT_EQ(http_exchange(call, limits).status, 0);
        asked = 0;
        EXPECT_EQ(http_exchange_bounded(call, ample, limits).status, 0);
        EXPECT_LT(steady_now() - begun, 30s); // a step alone may take a minute
    }
}

TEST(http_exchange, has_failed_where_its_limits_cut_the_answer) {
    scripted_peer peer([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\n\r\n{}");
        connection.hang();
    });
    const http_response cut = http_exchange(get_call(peer.port()), call_limits{}.within(200ms));
    EXPECT_EQ(cut.status, 0);
    EXPECT_EQ(cut.body, "");
}

TEST(both_exchanges, take_an_answer_that_has_ended_though_it_is_read_after_their_time) {
    const socket_handle listener = listen_on_loopback(0, 4);
    for (const bool plain : {true, false}) {
        // The server answers and hangs up, and then the program is paused until its time is over.
        const steady_time deadline = steady_now() + 2s;
        socket_handle served;
        bool answered = false;
        const call_limits limits{.deadline = deadline, .given_up = [&] {
                                     if (!served.valid()) served = accept_connection(listener);
                                     if (answered || !served.valid() || !wait_readable(served, 0ms))
                                         return false;
                                     std::array<char, 1000> request{};
                                     receive_some(served, request, 0ms);
                                     answered = send_some(served, "HTTP/1.1 200 OK\r\n\r\nwhole",
                                                          0ms) != 0;
                                     served.close();
                                     std::this_thread::sleep_until(deadline);
                                     return false;
                                 }};
        const http_call call = get_call(bound_port(listener));
        const http_response response =
            plain ? http_exchange(call, limits) : http_exchange_bounded(call, ample, limits);
        EXPECT_TRUE(answered);
        EXPECT_EQ(response.status, 200) << plain;
        EXPECT_EQ(response.body, "whole") << plain;
    }
}

TEST(attempt_exchange_bounded, names_a_failure_only_where_there_is_no_usable_response) {
    const auto failure_with = [](const std::string& answer) {
        const scripted_peer peer(replies(answer));
        return attempt_exchange_bounded(get_call(peer.port()), ample).failure;
    };
    for (const int status : {200, 302, 404, 500})
        EXPECT_EQ(failure_with(http_reply_text(status, "whole")), network_failure::none) << status;
    for (const std::string answer :
         {"", "garbage", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhal"})
        EXPECT_EQ(failure_with(answer), network_failure::unanswered) << answer;
    EXPECT_EQ(attempt_exchange_bounded(get_call(closed_port()), ample).failure,
              network_failure::unanswered);
}

TEST(both_exchanges, may_run_on_many_threads_at_once) {
    scripted_peer peer([](peer_connection& connection) {
        const std::string target = request_target(connection.read_request());
        connection.send(http_reply_text(200, target));
    });
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            http_call call = get_call(peer.port());
            call.path = "/" + std::to_string(i);
            for (const auto& [form, response] : ask_both(call))
                if (response.status == 200 && response.body == "GET " + call.path) ++right;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(right, 16);
}
