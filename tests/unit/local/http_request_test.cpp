#include "local/http_request.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t longest_request = 4'194'304;

// What is read when the text arrives in pieces of this size; absent if it never was enough.
std::optional<http_request> read_in_pieces(std::string_view text, std::size_t piece) {
    request_assembler assembler;
    while (!text.empty()) {
        const std::string_view part = text.substr(0, piece);
        text.remove_prefix(part.size());
        if (assembler.add(part)) return assembler.finish();
    }
    return std::nullopt;
}

std::optional<http_request> read_whole(std::string_view text) {
    return read_in_pieces(text, text.size());
}

std::string post(const std::string& header, const std::string& body) {
    return "POST /api/route HTTP/1.1\r\nHost: x\r\n" + header + "\r\n\r\n" + body;
}

} // namespace

TEST(parse_request_line, takes_the_first_two_tokens_as_they_stand) {
    struct line_case {
        std::string line;
        std::string method;
        std::string path;
    };
    const std::vector<line_case> cases = {
        {"GET / HTTP/1.1", "GET", "/"},
        {"GET /api/status?x=1 HTTP/1.1", "GET", "/api/status?x=1"},
        {"get /A%20b", "get", "/A%20b"},
        {" \t POST \t /x   junk more junk", "POST", "/x"},
        {"GET", "GET", ""},
        {"GET ", "GET", ""},
        {"", "", ""},
        {"   ", "", ""},
    };
    for (const line_case& each : cases) {
        const http_request request = parse_request_line(each.line);
        EXPECT_EQ(request.method, each.method) << each.line;
        EXPECT_EQ(request.path, each.path) << each.line;
        EXPECT_EQ(request.body, "") << each.line;
    }
}

TEST(request_assembler, is_done_with_the_header_end_where_no_body_is_announced) {
    request_assembler assembler;
    EXPECT_FALSE(assembler.add("GET / HTTP/1.1\r\nHost: x\r\n"));
    EXPECT_FALSE(assembler.add("\r"));
    EXPECT_TRUE(assembler.add("\n"));
    const auto request = assembler.finish();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->method, "GET");
    EXPECT_EQ(request->path, "/");
    EXPECT_EQ(request->body, "");
}

TEST(request_assembler, is_done_with_the_last_byte_of_the_announced_body_and_not_before) {
    request_assembler assembler;
    EXPECT_FALSE(assembler.add(post("Content-Length: 5", "")));
    EXPECT_FALSE(assembler.add("ab"));
    EXPECT_FALSE(assembler.add("cd"));
    EXPECT_TRUE(assembler.add("e"));
    EXPECT_EQ(assembler.finish()->body, "abcde");
}

TEST(request_assembler, reads_the_same_however_the_bytes_are_cut) {
    const std::string text = post("Content-Length: 12", "{\"a\":\"\r\n\r\n\"}");
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        const auto request = read_in_pieces(text, piece);
        ASSERT_TRUE(request) << piece;
        EXPECT_EQ(request->path, "/api/route") << piece;
        EXPECT_EQ(request->body, "{\"a\":\"\r\n\r\n\"}") << piece;
    }
}

TEST(request_assembler, knows_two_spellings_of_the_length_header) {
    struct length_case {
        std::string header;
        std::string body;
        std::string read;
    };
    const std::vector<length_case> cases = {
        {"Content-Length: 5", "hello", "hello"},
        {"content-length: 5", "hello", "hello"},
        {"Content-Length:5", "hello", "hello"},
        {"Content-Length:  \t 5", "hello", "hello"},
        {"Content-Length: 3", "hello", "hel"},
        {"Content-Length: 5x", "hello", "hello"},
        {"content-length: 2\r\nContent-Length: 4", "hello", "hell"},
        {"Content-Length: none\r\ncontent-length: 4", "hello", ""},
        {"X-Content-Length: 4", "hello", "hell"},
        {"CONTENT-LENGTH: 5", "hello", ""},
        {"Content-length: 5", "hello", ""},
        {"Content-Length : 5", "hello", ""},
        {"Content-Length: 0", "hello", ""},
        {"Content-Length: five", "hello", ""},
        {"Content-Length: -5", "hello", ""},
        {"Content-Length: 4294967296", "hello", ""},
        {"X: y", "hello", ""},
    };
    for (const length_case& each : cases) {
        const auto request = read_whole(post(each.header, each.body));
        ASSERT_TRUE(request) << each.header;
        EXPECT_EQ(request->body, each.read) << each.header;
    }
}

TEST(request_assembler, does_not_look_for_a_length_in_the_body) {
    const auto request = read_whole("POST / HTTP/1.1\r\n\r\nContent-Length: 3\r\n\r\nabc");
    ASSERT_TRUE(request);
    EXPECT_EQ(request->body, "");
}

TEST(request_assembler, gives_nothing_without_a_method_and_a_path) {
    for (const std::string text :
         {"\r\n\r\n", "GET\r\n\r\n", "GET \r\n\r\n", "   \r\n\r\n", "\r\nGET / HTTP/1.1\r\n\r\n"})
        EXPECT_FALSE(read_whole(text)) << text;
    EXPECT_TRUE(read_whole("x y\r\n\r\n"));
}

TEST(request_assembler, waits_for_the_header_end_until_four_mebibytes_have_come) {
    const std::string line = "GET /api/status HTTP/1.1\r\n";
    request_assembler assembler;
    EXPECT_FALSE(assembler.add(line));
    EXPECT_FALSE(assembler.add(std::string(longest_request - line.size() - 1, 'x')));
    EXPECT_TRUE(assembler.add("x"));
    const auto request = assembler.finish();
    ASSERT_TRUE(request);
    EXPECT_EQ(request->path, "/api/status");
    EXPECT_EQ(request->body, "");
}

TEST(request_assembler, gives_nothing_for_four_mebibytes_without_a_line_end) {
    request_assembler assembler;
    EXPECT_TRUE(assembler.add(std::string(longest_request, 'x')));
    EXPECT_FALSE(assembler.finish());
}

TEST(request_assembler, cuts_a_body_that_is_announced_beyond_four_mebibytes) {
    const std::string head = post("Content-Length: 9000000", "");
    request_assembler assembler;
    EXPECT_FALSE(assembler.add(head));
    EXPECT_FALSE(assembler.add(std::string(longest_request - head.size() - 1, 'b')));
    EXPECT_TRUE(assembler.add("b"));
    EXPECT_EQ(assembler.finish()->body.size(), longest_request - head.size());
}
