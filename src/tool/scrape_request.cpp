#include "tool/scrape_request.hpp"

#include "tool/metric_text.hpp"

namespace elvantris::operator_control {
namespace {

constexpr std::string_view end_of_line = "\r\n";
constexpr std::string_view end_of_headers = "\r\n\r\n";

std::string_view cut_word(std::string_view& line) {
    const std::size_t end = line.find(' ');
    const std::string_view word = line.substr(0, end);
    line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
    return word;
}

scrape_request judge_request_line(std::string_view line) {
    const std::string_view method = cut_word(line);
    const std::string_view target = cut_word(line);
    if (method.empty() || !target.starts_with('/') || !line.starts_with("HTTP/1."))
        return scrape_request::bad;
    if (target.substr(0, target.find('?')) != "/metrics") return scrape_request::not_found;
    return method == "GET" ? scrape_request::metrics : scrape_request::wrong_method;
}

struct reply_words {
    std::string_view status;
    std::string_view further_header;
    std::string_view sentence;
};

reply_words words_for(scrape_request request) {
    switch (request) {
    case scrape_request::metrics:
        return {"200 OK", "", ""};
    case scrape_request::not_found:
        return {"404 Not Found", "", "The metrics are at /metrics.\n"};
    case scrape_request::wrong_method:
        return {"405 Method Not Allowed", "Allow: GET\r\n", "Only GET is answered.\n"};
    case scrape_request::too_large:
        return {"431 Request Header Fields Too Large", "", "The request is too large.\n"};
    case scrape_request::incomplete:
    case scrape_request::bad:
        break;
    }
    return {"400 Bad Request", "", "The request is not understood.\n"};
}

} // namespace

scrape_request judge_scrape_request(std::string_view received) {
    const std::string_view counted = received.substr(0, largest_scrape_request);
    if (counted.find(end_of_headers) != std::string_view::npos)
        return judge_request_line(counted.substr(0, counted.find(end_of_line)));
    return received.size() < largest_scrape_request ? scrape_request::incomplete
                                                    : scrape_request::too_large;
}

std::string write_scrape_reply(scrape_request request, std::string_view metrics) {
    const bool answered = request == scrape_request::metrics;
    const reply_words words = words_for(request);
    const std::string_view body = answered ? metrics : words.sentence;
    std::string reply;
    reply.append("HTTP/1.1 ").append(words.status).append("\r\nContent-Type: ");
    reply.append(answered ? metric_text_type : "text/plain; charset=utf-8");
    reply.append("\r\nContent-Length: ").append(std::to_string(body.size()));
    reply.append("\r\nConnection: close\r\nCache-Control: no-store\r\n");
    reply.append(words.further_header).append("\r\n").append(body);
    return reply;
}

} // namespace elvantris::operator_control
