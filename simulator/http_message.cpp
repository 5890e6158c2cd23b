#include "http_message.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <set>
#include <sstream>

namespace elvantris::simulator {

namespace {

constexpr const char* head_end = "\r\n\r\n";

std::string lower_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The value of the first header of that name, which is given in lower case.
std::optional<std::string> header_value(const std::string& head, const std::string& name) {
    const std::size_t found = lower_case(head).find("\r\n" + name + ":");
    if (found == std::string::npos) return std::nullopt;
    std::size_t start = found + name.size() + 3;
    const std::size_t end = head.find("\r\n", start);
    while (start < end && head[start] == ' ')
        ++start;
    return head.substr(start, end - start);
}

// The header lines of a head that ends in one line end.
std::string headers_to_keep(const std::string& head) {
    static const std::set<std::string> left_out{"content-length", "transfer-encoding",
                                                "connection"};
    std::string kept;
    for (std::size_t start = head.find("\r\n") + 2; start < head.size();) {
        const std::size_t end = head.find("\r\n", start) + 2;
        const std::string line = head.substr(start, end - start);
        if (!left_out.contains(lower_case(line.substr(0, line.find(':'))))) kept += line;
        start = end;
    }
    return kept;
}

} // namespace

std::optional<std::size_t> announced_body_bytes(const std::string& head) {
    if (header_value(head, "transfer-encoding")) return std::nullopt;
    const std::optional<std::string> text = header_value(head, "content-length");
    if (!text) return 0;
    std::size_t bytes = 0;
    const char* end = text->data() + text->size();
    const auto [stopped_at, error] = std::from_chars(text->data(), end, bytes);
    if (error != std::errc() || stopped_at != end) return std::nullopt;
    return bytes;
}

std::string request_path(const std::string& head) {
    std::istringstream line(head.substr(0, head.find("\r\n")));
    std::string method;
    std::string target;
    std::string version;
    if (!(line >> method >> target >> version) || target.front() != '/') return "";
    return target.substr(0, target.find('?'));
}

http_reply parse_reply(const std::string& text) {
    http_reply reply;
    const std::size_t end = text.find(head_end);
    std::istringstream line(text.substr(0, text.find("\r\n")));
    std::string version;
    if (end == std::string::npos || !(line >> version >> reply.status)) {
        reply.status = 502;
        return reply;
    }
    reply.headers = headers_to_keep(text.substr(0, end + 2));
    reply.body = text.substr(end + 4);
    return reply;
}

std::string head_of(const http_reply& reply, const std::string& framing_line) {
    return "HTTP/1.1 " + std::to_string(reply.status) + " Simulated\r\n" + reply.headers +
           framing_line + "\r\nConnection: close\r\n\r\n";
}

std::string chunked_body(const std::string& body, std::size_t chunk_bytes) {
    std::ostringstream text;
    for (std::size_t start = 0; start < body.size(); start += chunk_bytes) {
        const std::string chunk = body.substr(start, chunk_bytes);
        text << std::hex << chunk.size() << "\r\n" << chunk << "\r\n";
    }
    text << "0\r\n\r\n";
    return text.str();
}

} // namespace elvantris::simulator
