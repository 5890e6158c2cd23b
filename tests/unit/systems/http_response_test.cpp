#include "systems/http_response.hpp"

#include <gtest/gtest.h>

#include <optional>

using namespace elvantris::operator_control;

namespace {

struct response_case {
    std::string text;
    std::int32_t status;
    std::string body;
};

template<typename parser>
void expect_all(const parser& parse, const std::vector<response_case>& cases) {
    for (const response_case& each : cases) {
        SCOPED_TRACE(each.text.substr(0, 200));
        const http_response response = parse(each.text);
        EXPECT_EQ(response.status, each.status);
        EXPECT_EQ(response.body, each.body);
    }
}

// A bounded reply with these header lines, each with its line end.
std::string reply(const std::string& headers, const std::string& body) {
    return "HTTP/1.1 200 OK\r\n" + headers + "\r\n" + body;
}

std::string chunked(const std::string& body) {
    return reply("Transfer-Encoding: chunked\r\n", body);
}

// What both forms make of a status line and of missing pieces.
const std::vector<response_case> common_cases = {
    {"", 0, ""},
    {"\r", 0, ""},
    {"H", 0, ""},
    {"\r\n", 0, ""},
    {"HTTP/1.1 200 OK", 0, ""},
    {"HTTP/1.1 200 OK\n\n", 0, ""},
    {"HTTP/1.1 200 OK\r\n", 200, ""},
    {"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n", 200, ""},
    {"HTTP/1.1 200 OK\r\nX: y\r\n\nnot the end", 200, ""},
    {"HTTP/1.1 200 OK\r\n\r\n", 200, ""},
    {"HTTP/1.1 200 OK\r\n\r\nbody", 200, "body"},
    {"HTTP/1.1 200\r\n\r\nbody", 200, "body"},
    {"anything 200 OK\r\n\r\nbody", 200, "body"},
    {" \t HTTP/1.1 \t 200   OK\r\n\r\nbody", 200, "body"},
    {"HTTP/1.1 404 Not Found\r\n\r\nwhy", 404, "why"},
    {"HTTP/1.1 500\r\n\r\n", 500, ""},
    {"HTTP/1.1 -1 odd\r\n\r\n", -1, ""},
    {"HTTP/1.1 OK 200\r\n\r\n", 0, ""},
    {"HTTP/1.1\r\n\r\n", 0, ""},
    {"HTTP/1.1 200 OK\r\n\r\nbody\r\n\r\nmore", 200, "body\r\n\r\nmore"},
};

} // namespace

TEST(parse_plain_response, reads_the_status_line_and_takes_all_behind_the_headers) {
    expect_all(parse_plain_response, common_cases);
}

TEST(parse_bounded_response, reads_the_status_line_and_takes_all_behind_unframed_headers) {
    expect_all(parse_bounded_response, common_cases);
}

TEST(parse_plain_response, looks_at_no_header) {
    expect_all(parse_plain_response,
               {{reply("Content-Length: 10\r\n", "4444"), 200, "4444"},
                {reply("Content-Length: 2\r\n", "4444"), 200, "4444"},
                {chunked("4\r\nbody\r\n0\r\n\r\n"), 200, "4\r\nbody\r\n0\r\n\r\n"}});
}

TEST(parse_bounded_response, enforces_the_announced_length) {
    const std::string twelve = "123456789012";
    const auto announcing = [](const std::string& value, const std::string& body) {
        return reply("Content-Length: " + value + "\r\n", body);
    };
    expect_all(parse_bounded_response, {
                                           {announcing("10", "1234"), 0, ""},
                                           {announcing("13", twelve), 0, ""},
                                           {announcing("12", twelve), 200, twelve},
                                           {announcing("11", twelve), 200, "12345678901"},
                                           {announcing("10", twelve), 200, "1234567890"},
                                           {announcing("0", twelve), 200, twelve},
                                           {announcing("0", ""), 200, ""},
                                           {announcing("1", ""), 0, ""},
                                           {announcing("many", twelve), 200, twelve},
                                           {announcing("", twelve), 200, twelve},
                                           {announcing("-5", twelve), 200, twelve},
                                           {announcing("+13", twelve), 200, twelve},
                                           {announcing("10 bytes", twelve), 200, "1234567890"},
                                           {announcing("18446744073709551615", twelve), 0, ""},
                                           {announcing("99999999999999999999999", twelve), 0, ""},
                                       });
}

TEST(parse_cut_response, takes_only_what_its_framing_shows_whole) {
    expect_all(parse_cut_response, {{reply("Content-Length: 4\r\n", "body"), 200, "body"},
                                    {reply("Content-Length: 5\r\n", "body"), 0, ""},
                                    {chunked("4\r\nbody\r\n0\r\n\r\n"), 200, "body"},
                                    {chunked("4\r\nbody\r\n"), 0, ""},
                                    {reply("", "body"), 0, ""},
                                    {reply("Content-Length: 0\r\n", ""), 0, ""},
                                    {"HTTP/1.1 200 OK\r\nContent-Le", 0, ""}});
}

TEST(parse_bounded_response, finds_the_announced_length_in_any_case_and_with_any_white_space) {
    for (const std::string line : {"Content-Length: 2", "content-length:2", "CONTENT-LENGTH: \t 2"})
        EXPECT_EQ(parse_bounded_response(reply(line + "\r\n", "abcd")).body, "ab") << line;
}

TEST(parse_bounded_response, takes_the_first_length_even_inside_another_headers_value) {
    expect_all(
        parse_bounded_response,
        {{reply("X-Note: content-length: 3\r\nContent-Length: 5\r\n", "12345"), 200, "123"},
         {reply("Content-Length: 5\r\nX-Note: content-length: 3\r\n", "12345"), 200, "12345"},
         {reply("X-Content-Length: 3\r\n", "12345"), 200, "123"},
         {reply("", "content-length: 3"), 200, "content-length: 3"}});
}

TEST(parse_bounded_response, takes_a_length_in_the_last_header_line) {
    EXPECT_EQ(parse_bounded_response(reply("A: b\r\nContent-Length: 1\r\n", "xy")).body, "x");
}

TEST(parse_bounded_response, keeps_a_status_other_than_200_with_its_body) {
    const auto response =
        parse_bounded_response("HTTP/1.1 503 Busy\r\nContent-Length: 4\r\n\r\nbusy");
    EXPECT_EQ(response.status, 503);
    EXPECT_EQ(response.body, "busy");
}

TEST(parse_bounded_response, decodes_only_where_a_line_names_the_chunked_coding) {
    const std::string raw = "3\r\nabc\r\n0\r\n\r\n";
    struct header_case {
        std::string headers;
        bool decoded;
    };
    const std::vector<header_case> cases = {
        {"Transfer-Encoding: chunked\r\n", true},
        {"TRANSFER-ENCODING: CHUNKED\r\n", true},
        {"transfer-encoding: Chunked\r\n", true},
        {"Transfer-Encoding:chunked\r\n", true},
        {"Transfer-Encoding: gzip, chunked\r\n", true},
        {"A: b\r\nTransfer-Encoding: chunked\r\nC: d\r\n", true},
        {"X-Transfer-Encoding: chunked\r\n", false},
        {"X: transfer-encoding: chunked\r\n", false},
        {"X-Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", true},
        {"Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", true},
        {"Transfer-Encoding: gzip\r\nX: chunked\r\n", false},
        {"Transfer-Encoding : chunked\r\n", false},
        {"Transfer-Encoding: identity\r\n", false},
        {"X: y\nTransfer-Encoding: chunked\r\n", true},
    };
    for (const header_case& each : cases) {
        const http_response response = parse_bounded_response(reply(each.headers, raw));
        EXPECT_EQ(response.status, 200) << each.headers;
        EXPECT_EQ(response.body, each.decoded ? "abc" : raw) << each.headers;
    }
}

TEST(parse_bounded_response, takes_the_status_line_for_a_header_line_as_well) {
    expect_all(parse_bounded_response,
               {{"transfer-encoding: 200 chunked\r\n\r\n3\r\nabc\r\n0\r\n", 200, "abc"}});
}

TEST(parse_bounded_response, prefers_chunked_coding_to_an_announced_length) {
    expect_all(
        parse_bounded_response,
        {{reply("Content-Length: 1\r\nTransfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n"), 200,
          "abc"},
         {reply("Content-Length: 999\r\nTransfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n"), 200,
          "abc"}});
}

TEST(parse_bounded_response, counts_a_broken_chunked_body_as_no_response) {
    expect_all(parse_bounded_response, {{chunked("3\r\nabc\r\n"), 0, ""},
                                        {chunked("3\r\nabcXX0\r\n\r\n"), 0, ""},
                                        {chunked(""), 0, ""},
                                        {chunked("0\r\n\r\n"), 200, ""}});
}

TEST(decode_chunked, reads_chunks_up_to_the_one_of_size_zero) {
    struct chunk_case {
        std::string raw;
        std::optional<std::string> decoded;
    };
    const std::string long_chunk(0x1234, 'x');
    const std::vector<chunk_case> cases = {
        {"0\r\n", ""},
        {"0\r\n\r\n", ""},
        {"00000\r\n", ""},
        {"3\r\nabc\r\n0\r\n\r\n", "abc"},
        {"3\r\nabc\r\n2\r\nde\r\n0\r\n", "abcde"},
        {"1234\r\n" + long_chunk + "\r\n0\r\n", long_chunk},
        {"a\r\n0123456789\r\n0\r\n", "0123456789"},
        {"A\r\n0123456789\r\n0\r\n", "0123456789"},
        {"3;name=value\r\nabc\r\n0;last\r\n", "abc"},
        {"3 \r\nabc\r\n0\r\n", "abc"},
        {"2\r\n\r\n\r\n0\r\n", "\r\n"},
        {"3\r\nabc\r\n0\r\nTrailer: is not read", "abc"},
        {"3\r\nabc\r\n0\r\n\r\n3\r\nxyz", "abc"},
        {"", std::nullopt},
        {"0", std::nullopt},
        {"\r", std::nullopt},
        {"3", std::nullopt},
        {"3\r\n", std::nullopt},
        {"3\r\nab", std::nullopt},
        {"3\r\nabc", std::nullopt},
        {"3\r\nabc\r", std::nullopt},
        {"3\r\nabc\r\n", std::nullopt},
        {"3\r\nabc\r\n0", std::nullopt},
        {"3\r\nabc\n\r0\r\n", std::nullopt},
        {"3\r\nabc\rx0\r\n", std::nullopt},
        {"3\r\nabcx\n0\r\n", std::nullopt},
        {"3\r\nabcd\r\n0\r\n", std::nullopt},
        {"\r\nabc\r\n0\r\n", std::nullopt},
        {"x\r\nabc\r\n0\r\n", std::nullopt},
        {";3\r\nabc\r\n0\r\n", std::nullopt},
        {"ffffffffffffffff\r\nabc\r\n0\r\n", std::nullopt},
        {"10000000000000003\r\nabc\r\n0\r\n", std::nullopt},
    };
    for (const chunk_case& each : cases)
        EXPECT_EQ(decode_chunked(each.raw), each.decoded) << each.raw.substr(0, 80);
}

TEST(decode_chunked, keeps_every_byte_of_the_payload) {
    std::string payload;
    for (int byte = 0; byte < 256; ++byte)
        payload += static_cast<char>(byte);
    EXPECT_EQ(decode_chunked("100\r\n" + payload + "\r\n0\r\n"), payload);
}

// What counts is the line up to its CR LF; a bare LF begins another name within it.
TEST(parse_bounded_response, finds_the_coding_behind_repeated_names_of_one_line) {
    struct {
        std::string headers;
        bool chunked;
    } const cases[] = {
        {"Transfer-Encoding: gzip\nTransfer-Encoding: chunked", true},
        {"Transfer-Encoding: gzip\nX: y chunked", true},
        {"Transfer-Encoding: gzip\r\nX: chunked", false},
        {"Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked", true},
        {"X: Transfer-Encoding: chunked\nTransfer-Encoding: gzip", false},
        {"Transfer-Encoding:Transfer-Encoding:\r\nTransfer-Encoding:chunked", true},
    };
    for (const auto& [headers, chunked] : cases)
        EXPECT_EQ(
            parse_bounded_response("HTTP/1.1 200 OK\r\n" + headers + "\r\n\r\n2\r\nok\r\n0\r\n\r\n")
                .body,
            chunked ? "ok" : "2\r\nok\r\n0\r\n\r\n")
            << headers;
}
