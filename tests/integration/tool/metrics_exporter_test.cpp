#include "tool/metrics_exporter.hpp"

#include "integration/support/loopback_client.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::string_view whole_request = "GET /metrics HTTP/1.1\r\n\r\n";

struct running_exporter {
    running_exporter() { EXPECT_TRUE(exporter.start(0)); }

    std::string ask(std::string_view request) const {
        return ask_loopback(exporter.port(), request).value_or("no end");
    }

    metrics_exporter exporter{"no such file.json"};
};

} // namespace

TEST(metrics_exporter, answers_with_figures_and_counts_it) {
    running_exporter running;
    const std::string reply = running.ask(whole_request);
    EXPECT_TRUE(reply.starts_with("HTTP/1.1 200 OK\r\n")) << reply;
    EXPECT_NE(reply.find("\nelvantris_up "), std::string::npos) << reply;
    EXPECT_TRUE(running.ask("GET / HTTP/1.1\r\n\r\n").starts_with("HTTP/1.1 404 "));
    EXPECT_EQ(running.exporter.scrapes(), 1U);
}

TEST(metrics_exporter, waits_for_nobody_who_says_nothing) {
    running_exporter running;
    std::vector<loopback_client> silent;
    for (int i = 0; i < 40; ++i)
        silent.emplace_back(running.exporter.port());
    EXPECT_TRUE(running.ask(whole_request).starts_with("HTTP/1.1 200 "));
}

TEST(metrics_exporter, hangs_up_on_a_request_that_never_ends) {
    running_exporter running;
    EXPECT_EQ(running.ask("GET /metrics HTTP/1.1\r\n"), "");
    EXPECT_TRUE(running.ask(whole_request).starts_with("HTTP/1.1 200 "));
}

TEST(metrics_exporter, hangs_up_on_a_request_that_comes_a_byte_at_a_time) {
    const running_exporter running;
    loopback_client slow(running.exporter.port());
    const steady_time latest = steady_now() + std::chrono::seconds(30);
    do
        EXPECT_TRUE(slow.send("G"));
    while (slow.silent_for(milliseconds(100)) && steady_now() < latest);
    EXPECT_LT(steady_now(), latest);
    EXPECT_EQ(slow.read_to_end(), "");
}

TEST(metrics_exporter, ends_though_a_request_has_just_begun) {
    running_exporter running;
    loopback_client slow(running.exporter.port());
    EXPECT_TRUE(slow.send("GET /"));
    running.exporter.stop();
    EXPECT_EQ(slow.read_to_end(), "");
}

TEST(metrics_exporter, cannot_have_a_port_that_is_taken) {
    const running_exporter running;
    metrics_exporter second("no such file.json");
    EXPECT_FALSE(second.start(running.exporter.port()));
}
