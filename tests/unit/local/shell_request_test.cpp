#include "local/page.hpp"
#include "local/ui_shell_server.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::string_view redirect =
    "HTTP/1.1 302 Found\r\nServer: Elvantris Redundancy Control\r\n"
    "Location: /\r\nCache-Control: no-store\r\nContent-Length: 0\r\n"
    "Connection: close\r\n\r\n";
constexpr std::string_view not_allowed = "HTTP/1.1 405 Method Not Allowed\r\n"
                                         "Server: Elvantris Redundancy Control\r\nAllow: GET\r\n"
                                         "Content-Length: 0\r\nConnection: close\r\n\r\n";

std::string document() {
    const std::string page = build_shell_page();
    return "HTTP/1.1 200 OK\r\nServer: Elvantris Redundancy Control\r\n"
           "Content-Type: text/html; charset=utf-8\r\nContent-Length: " +
           std::to_string(page.size()) +
           "\r\nConnection: close\r\nCache-Control: no-store\r\n\r\n" + page;
}

} // namespace

TEST(answer_shell_request, chooses_the_reply_by_method_and_path) {
    struct request_case {
        std::string request;
        std::string_view reply;
    };
    const std::string page = document();
    const std::vector<request_case> cases = {
        {"GET / HTTP/1.1\r\nHost: x\r\n\r\n", page},
        {"GET /? HTTP/1.1\r\n\r\n", page},
        {"GET /?configure=1 HTTP/1.1\r\n\r\n", page},
        {"GET /index.html HTTP/1.1\r\n\r\n", redirect},
        {"GET /favicon.ico HTTP/1.1\r\n\r\n", redirect},
        {"GET // HTTP/1.1\r\n\r\n", redirect},
        {"GET /x?/? HTTP/1.1\r\n\r\n", redirect},
        {"GET ?configure=1 HTTP/1.1\r\n\r\n", redirect},
        {"GET \r\n\r\n", redirect},
        {"GET", redirect},
        {"HEAD / HTTP/1.1\r\n\r\n", not_allowed},
        {"POST / HTTP/1.1\r\n\r\n", not_allowed},
        {"OPTIONS / HTTP/1.1\r\n\r\n", not_allowed},
        {"get / HTTP/1.1\r\n\r\n", not_allowed},
        {"\r\n\r\n", not_allowed},
    };
    for (const request_case& each : cases)
        EXPECT_EQ(answer_shell_request(each.request), each.reply) << each.request;
}

TEST(answer_shell_request, needs_no_line_end) {
    EXPECT_EQ(answer_shell_request("GET /"), document());
    EXPECT_EQ(answer_shell_request("GET /?" + std::string(16'000, 'a')), document());
    EXPECT_EQ(answer_shell_request("P"), not_allowed);
}

TEST(answer_shell_request, looks_at_the_first_line_alone) {
    EXPECT_EQ(answer_shell_request("GET /x\r\nGET / HTTP/1.1\r\n\r\n"), redirect);
    EXPECT_EQ(answer_shell_request("GET\r\n/ HTTP/1.1\r\n\r\n"), redirect);
}

TEST(answer_shell_request, lets_no_other_page_read_the_document) {
    EXPECT_EQ(answer_shell_request("GET / HTTP/1.1\r\n\r\n").find("Access-Control-Allow-Origin"),
              std::string::npos);
}
