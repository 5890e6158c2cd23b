#include "tool/scrape_request.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

scrape_request judge_line(const std::string& line) {
    return judge_scrape_request(line + "\r\nHost: 127.0.0.1:5280\r\n\r\n");
}

} // namespace

TEST(scrape_request, is_for_the_metrics_alone) {
    EXPECT_EQ(judge_line("GET /metrics HTTP/1.1"), scrape_request::metrics);
    EXPECT_EQ(judge_line("GET /metrics?x=1 HTTP/1.0"), scrape_request::metrics);
    for (const char* path : {"/", "/metric", "/metrics/", "/metricsx", "/?/metrics"})
        EXPECT_EQ(judge_line(std::string("GET ") + path + " HTTP/1.1"), scrape_request::not_found)
            << path;
    for (const char* method : {"POST", "HEAD", "get", "OPTIONS"})
        EXPECT_EQ(judge_line(std::string(method) + " /metrics HTTP/1.1"),
                  scrape_request::wrong_method)
            << method;
}

TEST(scrape_request, is_refused_when_it_is_none) {
    for (const char* line : {"", "GET", "GET /metrics", "GET /metrics HTTP/2", " /metrics HTTP/1.1",
                             "GET metrics HTTP/1.1", "GET  /metrics HTTP/1.1"})
        EXPECT_EQ(judge_line(line), scrape_request::bad) << line;
}

TEST(scrape_request, is_complete_at_the_empty_line) {
    const std::string whole = "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n";
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(judge_scrape_request(whole.substr(0, size)), scrape_request::incomplete) << size;
    EXPECT_EQ(judge_scrape_request(whole + "body"), scrape_request::metrics);
}

TEST(scrape_request, has_a_largest_size) {
    const std::string line = "GET /metrics HTTP/1.1\r\nX: ";
    const auto sized = [&](std::size_t size) {
        return line + std::string(size - line.size() - 4, 'x') + "\r\n\r\n";
    };
    EXPECT_EQ(judge_scrape_request(sized(largest_scrape_request)), scrape_request::metrics);
    EXPECT_EQ(judge_scrape_request(sized(largest_scrape_request + 1)), scrape_request::too_large);
    EXPECT_EQ(judge_scrape_request(std::string(largest_scrape_request - 1, 'x')),
              scrape_request::incomplete);
    EXPECT_EQ(judge_scrape_request(std::string(largest_scrape_request, 'x')),
              scrape_request::too_large);
}

TEST(scrape_request, is_answered_with_the_figures_or_a_sentence) {
    EXPECT_EQ(write_scrape_reply(scrape_request::metrics, "x 1\n"),
              "HTTP/1.1 200 OK\r\n"
              "Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
              "Content-Length: 4\r\n"
              "Connection: close\r\n"
              "Cache-Control: no-store\r\n\r\n"
              "x 1\n");
    EXPECT_EQ(write_scrape_reply(scrape_request::wrong_method, "x 1\n"),
              "HTTP/1.1 405 Method Not Allowed\r\n"
              "Content-Type: text/plain; charset=utf-8\r\n"
              "Content-Length: 22\r\n"
              "Connection: close\r\n"
              "Cache-Control: no-store\r\n"
              "Allow: GET\r\n\r\n"
              "Only GET is answered.\n");
    const auto begins = [](scrape_request request, const char* beginning) {
        return write_scrape_reply(request, "x").starts_with(beginning);
    };
    EXPECT_TRUE(begins(scrape_request::not_found, "HTTP/1.1 404 "));
    EXPECT_TRUE(begins(scrape_request::bad, "HTTP/1.1 400 "));
    EXPECT_TRUE(begins(scrape_request::too_large, "HTTP/1.1 431 "));
}
