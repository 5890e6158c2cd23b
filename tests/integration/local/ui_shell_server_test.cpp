#include "local/ui_shell_server.hpp"

#include "integration/support/failing_memory.hpp"
#include "integration/support/loopback_client.hpp"

#include <gtest/gtest.h>

#include <future>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class running_shell {
public:
    running_shell() { EXPECT_TRUE(server.start(0)); }
    std::optional<std::string> send(const std::string& request) const {
        return ask_loopback(server.port(), request);
    }
    ui_shell_server server;
};

} // namespace

TEST(ui_shell_server, answers_by_the_first_line_and_hangs_up) {
    const running_shell shell;
    for (const std::string request :
         {"GET / HTTP/1.1\r\nHost: x\r\n\r\n", "GET /?configure=1 HTTP/1.1\r\n\r\n",
          "GET /favicon.ico HTTP/1.1\r\n\r\n", "HEAD / HTTP/1.1\r\n\r\n",
          "POST / HTTP/1.1\r\n\r\n"})
        EXPECT_EQ(shell.send(request), answer_shell_request(request)) << request;
}

TEST(ui_shell_server, takes_a_request_to_be_in_the_first_segment) {
    const running_shell shell;
    EXPECT_EQ(shell.send("GET /"), answer_shell_request("GET /"));
    EXPECT_EQ(shell.send("D"), answer_shell_request("D"));
}

TEST(ui_shell_server, chooses_by_what_arrived_of_a_line_longer_than_the_first_segment) {
    const running_shell shell;
    const std::string endless(17'000, 'a');
    const std::string page = answer_shell_request("GET /");
    const std::optional<std::string> reply = shell.send("GET /?" + endless);
    ASSERT_TRUE(reply);
    // What was left unread may cut the end of so long a reply, as it does for any hasty client.
    ASSERT_GT(reply->size(), 1'000U);
    EXPECT_EQ(*reply, page.substr(0, reply->size()));
    EXPECT_EQ(shell.send("POST /" + endless), answer_shell_request("POST /"));
}

TEST(ui_shell_server, lets_no_silent_client_hold_up_the_others) {
    const running_shell shell;
    std::vector<loopback_client> silent;
    for (int i = 0; i < 20; ++i)
        silent.emplace_back(shell.server.port());
    EXPECT_EQ(shell.send("GET / HTTP/1.1\r\n\r\n"), answer_shell_request("GET /"));
    for (loopback_client& client : silent) {
        EXPECT_TRUE(client.send("GET /x HTTP/1.1\r\n\r\n"));
        EXPECT_EQ(client.read_to_end(), answer_shell_request("GET /x"));
    }
}

TEST(ui_shell_server, closes_without_a_reply_for_a_client_that_leaves_in_silence) {
    const running_shell shell;
    loopback_client(shell.server.port()).close();
    EXPECT_EQ(shell.send("GET /x"), answer_shell_request("GET /x"));
}

TEST(ui_shell_server, lives_on_without_the_memory_for_a_page) {
    const running_shell shell;
    const std::string request = "GET / HTTP/1.1\r\n\r\n";
    {
        const no_large_memory memory(16UL * 1024 - 1);
        EXPECT_EQ(shell.send(request), "");
    }
    EXPECT_EQ(shell.send(request), answer_shell_request(request));
}

TEST(ui_shell_server, stops_while_a_page_is_under_way_and_lets_it_run_to_its_end) {
    running_shell shell;
    const std::string page = answer_shell_request("GET /");
    // More pages than the system keeps for a client that doesn't read: the last one is under way.
    std::vector<loopback_client> slow;
    for (int i = 0; i < 8; ++i) {
        slow.emplace_back(shell.server.port());
        EXPECT_TRUE(slow.back().send("GET / HTTP/1.1\r\n\r\n"));
    }
    EXPECT_EQ(shell.send("GET /x"), answer_shell_request("GET /x"));
    shell.server.stop();
    EXPECT_FALSE(loopback_client(shell.server.port()).connected());
    for (loopback_client& client : slow)
        EXPECT_EQ(client.read_to_end(), page);
}

TEST(ui_shell_server, gives_the_page_while_hundreds_are_silent) {
    const running_shell shell;
    std::vector<loopback_client> silent;
    for (int i = 0; i < 300; ++i)
        silent.emplace_back(shell.server.port());
    EXPECT_EQ(shell.send("GET / HTTP/1.1\r\n\r\n"), answer_shell_request("GET /"));
    for (int i = 0; i < 45; ++i)
        EXPECT_EQ(silent[static_cast<std::size_t>(i)].read_to_end(), "") << i;
    EXPECT_TRUE(silent[45].silent_for(0ms));
    EXPECT_TRUE(silent[45].send("GET /x"));
    EXPECT_EQ(silent[45].read_to_end(), answer_shell_request("GET /x"));
}

TEST(ui_shell_server, moves_to_another_port_and_back) {
    running_shell shell;
    const std::uint16_t old_port = shell.server.port();
    EXPECT_EQ(shell.send("GET /x"), answer_shell_request("GET /x"));
    shell.server.stop();
    ASSERT_TRUE(shell.server.start(0));
    EXPECT_EQ(shell.send("GET /x"), answer_shell_request("GET /x"));
    shell.server.stop();
    ASSERT_TRUE(shell.server.start(old_port));
    EXPECT_EQ(shell.server.port(), old_port);
    EXPECT_EQ(shell.send("GET /x"), answer_shell_request("GET /x"));
}

TEST(ui_shell_server, does_not_start_on_a_taken_port) {
    const running_shell first;
    ui_shell_server second;
    EXPECT_FALSE(second.start(first.server.port()));
    EXPECT_TRUE(second.start(0));
    second.stop();
    second.stop();
}

TEST(ui_shell_server, serves_many_browsers_at_once) {
    const running_shell shell;
    const std::string page = answer_shell_request("GET /");
    std::vector<std::future<bool>> asked;
    for (int i = 0; i < 16; ++i)
        asked.push_back(std::async(std::launch::async, [&] {
            for (int j = 0; j < 10; ++j)
                if (shell.send("GET / HTTP/1.1\r\n\r\n") != page) return false;
            return true;
        }));
    for (std::future<bool>& each : asked)
        EXPECT_TRUE(each.get());
}
