#include "tool/metrics_exporter.hpp"

#include "tool/ask_program.hpp"
#include "tool/scrape_request.hpp"
#include "tool/tool_version.hpp"

#include <array>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr loopback_limits places{.backlog = 16, .connections = 16, .spare_descriptors = 8};
constexpr milliseconds question_limit{2000};
constexpr milliseconds answer_limit{2000};
constexpr std::size_t read_size = 2048;

// Incomplete if the client went away or took too long.
scrape_request read_request(const socket_handle& client, const call_limits& limits) {
    std::string received;
    std::array<char, read_size> buffer{};
    scrape_request request = scrape_request::incomplete;
    while (request == scrape_request::incomplete) {
        const std::size_t size = receive_some(client, buffer, question_limit, limits);
        if (size == 0) break;
        received.append(buffer.data(), size);
        request = judge_scrape_request(received);
    }
    return request;
}

void send_all(const socket_handle& client, std::string_view bytes, const call_limits& limits) {
    while (!bytes.empty()) {
        const std::size_t sent = send_some(client, bytes, answer_limit, limits);
        if (sent == 0) return;
        bytes.remove_prefix(sent);
    }
}

} // namespace

metrics_exporter::metrics_exporter(std::string config_path)
    : config_path_(std::move(config_path)),
      server_(places, [this](const loopback_connection& connection) { serve(connection.socket); }) {
}

void metrics_exporter::serve(const socket_handle& client) {
    const call_limits until_stopped{.given_up = [this] { return !server_.running(); }};
    const scrape_request request = read_request(client, until_stopped.within(question_limit));
    if (request == scrape_request::incomplete) return;
    const std::string body = request == scrape_request::metrics ? figures() : "";
    send_all(client, write_scrape_reply(request, body), until_stopped.within(answer_limit));
}

std::string metrics_exporter::figures() {
    ++scrapes_;
    const asked_program asked =
        ask_program(config_path_, {.given_up = [this] { return !server_.running(); }});
    if (asked.reply.status) transfers_.see(asked.reply.status->protection);
    return write_metrics(metrics_of(asked.reply.status, transfers_.count(), tool_version()));
}

} // namespace elvantris::operator_control
