#include "local/http_reply.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(build_http_reply, writes_all_headers_in_their_order) {
    EXPECT_EQ(build_http_reply(200, "application/json", "{\"ok\":true}"),
              "HTTP/1.1 200 OK\r\n"
              "Server: Elvantris Redundancy Control\r\n"
              "Content-Type: application/json\r\n"
              "Content-Length: 11\r\n"
              "Connection: close\r\n"
              "Cache-Control: no-store\r\n"
              "Access-Control-Allow-Origin: *\r\n"
              "\r\n"
              "{\"ok\":true}");
}

TEST(build_http_reply, has_a_reason_for_200_and_400_and_calls_all_else_not_found) {
    const std::map<int, std::string> reasons = {{200, "OK"},
                                                {201, "Not Found"},
                                                {400, "Bad Request"},
                                                {404, "Not Found"},
                                                {500, "Not Found"}};
    for (const auto& [status, reason] : reasons)
        EXPECT_TRUE(build_http_reply(status, "text/plain", "")
                        .starts_with("HTTP/1.1 " + std::to_string(status) + ' ' + reason + "\r\n"))
            << status;
}

TEST(build_http_reply, counts_the_bodys_bytes) {
    const std::string body("\0\xc3\xa9", 3);
    const std::string reply = build_http_reply(200, "text/plain", body);
    EXPECT_NE(reply.find("Content-Length: 3\r\n"), std::string::npos);
    EXPECT_TRUE(reply.ends_with("\r\n\r\n" + body));
    EXPECT_NE(build_http_reply(404, "text/plain", "").find("Content-Length: 0\r\n"),
              std::string::npos);
}
