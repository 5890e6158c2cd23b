#include "decks/operator_deck_client.hpp"

#include "integration/support/captured_log.hpp"
#include "integration/support/scripted_peer.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

const operator_deck_client client;

system_record server_at(std::uint16_t port) {
    system_record server;
    server.address = "127.0.0.1";
    server.webPort = port;
    return server;
}

using post = std::function<bool(const system_record&, milliseconds)>;

// The four calls whose answer is only their status, each with what it sends.
struct post_case {
    const char* operation;
    std::string body;
    post call;
};

std::vector<post_case> posts() {
    const deck_info deck{.serial = "A",
                         .pid = "96",
                         .device_name = "Original",
                         .device_path = "/dev/h",
                         .key_count = 15,
                         .key_width = 72,
                         .key_height = 72,
                         .image_format = "bmp",
                         .image_rotation = 0};
    return {
        {"OperatorDeckRegister",
         R"({"SessionId":"s 1","MachineName":"PC","Decks":[{"Serial":"A","PID":"96",)"
         R"("DeviceName":"Original","KeyCount":15,"DevicePath":"/dev/h","KeyWidth":72,)"
         R"("KeyHeight":72,"ImageFormat":"bmp","ImageRotation":0}]})",
         [deck](const system_record& server, milliseconds timeout) {
             return client.post_register(server, "s 1", "PC", {deck}, timeout);
         }},
        {"OperatorDeckKeyEvent", R"({"SessionId":"s 1","Serial":"A","Index":3,"IsDown":true})",
         [](const system_record& server, milliseconds timeout) {
             return client.post_key_event(server, "s 1", "A", 3, true, timeout);
         }},
        {"OperatorDeckSetPage", R"({"SessionId":"s 1","Serial":"A","Page":2})",
         [](const system_record& server, milliseconds timeout) {
             return client.post_set_page(server, "s 1", "A", 2, timeout);
         }},
        {"OperatorDeckDetach", R"({"SessionId":"s 1"})",
         [](const system_record& server, milliseconds timeout) {
             return client.post_detach(server, "s 1", timeout);
         }},
    };
}

// Reads the request and then says nothing until the client has gone.
void fall_silent(peer_connection& connection) {
    connection.read_request();
    connection.hang();
}

} // namespace

TEST(operator_deck_client, posts_json_to_each_operations_path) {
    for (const auto& [operation, body, call] : posts()) {
        scripted_peer peer(replies(http_reply_text(200, "whatever")));
        EXPECT_TRUE(call(server_at(peer.port()), 5000ms)) << operation;
        EXPECT_EQ(peer.received(),
                  (std::vector<std::string>{
                      "POST /Home/" + std::string(operation) +
                      " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(peer.port()) +
                      "\r\nConnection: close\r\nAccept: application/json,text/plain,*/*\r\n"
                      "Content-Type: application/json\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\n\r\n" + body}));
    }
}

TEST(operator_deck_client, counts_every_status_from_200_to_299_as_taken_by_a_post) {
    const std::map<int, bool> statuses{{199, false}, {200, true},  {204, true},  {299, true},
                                       {300, false}, {302, false}, {404, false}, {500, false}};
    for (const auto& [operation, body, call] : posts())
        for (const auto& [status, taken] : statuses) {
            const scripted_peer peer(replies(http_reply_text(status, "")));
            EXPECT_EQ(call(server_at(peer.port()), 5000ms), taken) << operation << ' ' << status;
        }
}

TEST(operator_deck_client, asks_for_the_state_without_a_body) {
    scripted_peer peer(replies(http_reply_text(
        200, R"({"generation":8,"changed":true,"decks":[{"serial":"A","page":3}]})")));
    const deck_state_reply reply =
        client.get_state(server_at(peer.port()), "operator-control-a/b 1", -4, 5000ms);
    EXPECT_EQ(peer.received(),
              (std::vector<std::string>{
                  "GET /Home/OperatorDeckState?sessionId=operator-control-a%2Fb+1&since=-4 "
                  "HTTP/1.1\r\nHost: 127.0.0.1:" +
                  std::to_string(peer.port()) +
                  "\r\nConnection: close\r\nAccept: application/json,text/plain,*/*\r\n\r\n"}));
    EXPECT_TRUE(reply.accepted);
    EXPECT_EQ(reply.generation, 8);
    EXPECT_TRUE(reply.changed);
    ASSERT_EQ(reply.decks.size(), 1U);
    EXPECT_EQ(reply.decks[0].page, 3);
}

TEST(operator_deck_client, accepts_a_state_with_status_200_alone) {
    for (const auto& [status, accepted] : std::map<int, bool>{
             {199, false}, {200, true}, {201, false}, {204, false}, {299, false}, {500, false}}) {
        const scripted_peer peer(replies(http_reply_text(status, R"({"generation":8})")));
        const deck_state_reply reply = client.get_state(server_at(peer.port()), "s", 3, 5000ms);
        EXPECT_EQ(reply.accepted, accepted) << status;
        if (accepted) {
            EXPECT_EQ(reply.generation, 8);
        }
    }
}

TEST(operator_deck_client, accepts_a_state_that_is_no_json_as_one_without_news) {
    const scripted_peer peer(replies(http_reply_text(200, "<html>")));
    const deck_state_reply reply = client.get_state(server_at(peer.port()), "s", 3, 5000ms);
    EXPECT_TRUE(reply.accepted);
    EXPECT_EQ(reply.generation, 3);
    EXPECT_FALSE(reply.changed);
    EXPECT_TRUE(reply.decks.empty());
}

TEST(operator_deck_client, takes_every_failure_of_the_network_in_silence) {
    const captured_log log;
    const scripted_peer hanging_up([](peer_connection& connection) { connection.reset(); });
    const scripted_peer mute(fall_silent);
    const scripted_peer cut(
        replies("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"generation\""));
    for (const std::uint16_t port : {closed_port(), hanging_up.port(), mute.port(), cut.port()}) {
        for (const auto& [operation, body, call] : posts())
            EXPECT_FALSE(call(server_at(port), 100ms)) << operation << ' ' << port;
        EXPECT_FALSE(client.get_state(server_at(port), "s", 3, 100ms).accepted) << port;
    }
    EXPECT_EQ(log.output() + log.error(), "");
}

TEST(operator_deck_client, reads_twice_as_much_of_a_state_as_of_any_other_answer) {
    const std::string body = "{\"generation\":5}" + std::string(34'000'000, ' ');
    const scripted_peer peer(replies(http_reply_text(200, body)));
    EXPECT_TRUE(client.get_state(server_at(peer.port()), "s", 3, 5000ms).accepted);
    EXPECT_FALSE(client.post_detach(server_at(peer.port()), "s", 5000ms));
    const scripted_peer too_much(replies(http_reply_text(200, body + body)));
    EXPECT_FALSE(client.get_state(server_at(too_much.port()), "s", 3, 5000ms).accepted);
}

TEST(operator_deck_client, ends_every_exchange_after_ten_seconds_at_the_latest) {
    const scripted_peer trickling([](peer_connection& connection) {
        connection.read_request();
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
        while (connection.wanted() && connection.send(" "))
            std::this_thread::sleep_for(100ms);
    });
    const steady_time begun = steady_now();
    std::vector<std::thread> exchanges;
    for (const post_case& each : posts())
        exchanges.emplace_back([&trickling, begun, each] {
            EXPECT_FALSE(each.call(server_at(trickling.port()), 5000ms)) << each.operation;
            EXPECT_GE(milliseconds_between(begun, steady_now()), 9'900) << each.operation;
        });
    EXPECT_FALSE(client.get_state(server_at(trickling.port()), "s", 3, 5000ms).accepted);
    EXPECT_GE(milliseconds_between(begun, steady_now()), 9'900);
    for (std::thread& exchange : exchanges)
        exchange.join();
    EXPECT_LT(milliseconds_between(begun, steady_now()), 30'000);
}

TEST(operator_deck_client, tells_of_each_image_that_is_no_base64) {
    const std::string body =
        R"({"generation":9,"decks":[{"serial":"A","keys":[{"index":2,"data":"QUJ*"},)"
        R"({"index":1,"data":"QQ=="},{"index":3,"data":"QUJ"}]},)"
        R"({"serial":"B \"x","keys":[{"index":-5,"data":"Q==="}]}]})";
    const std::string line = "[streamdeck] rejected invalid Base64 image from server deck=";
    const scripted_peer peer(
        replies_in_turn({http_reply_text(500, body), http_reply_text(200, body)}));
    const captured_log log;
    EXPECT_FALSE(client.get_state(server_at(peer.port()), "s", 3, 5000ms).accepted);
    EXPECT_EQ(log.error(), "");
    EXPECT_TRUE(client.get_state(server_at(peer.port()), "s", 3, 5000ms).accepted);
    EXPECT_EQ(log.error(), line + "A key=2\n" + line + "A key=3\n" + line + "B \"x key=-5\n");
    EXPECT_EQ(log.output(), "");
}
