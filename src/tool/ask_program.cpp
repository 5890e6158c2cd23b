#include "tool/ask_program.hpp"

#include "os/file_paths.hpp"
#include "systems/server_http.hpp"

namespace elvantris::operator_control {
namespace {

constexpr const char* loopback = "127.0.0.1";
constexpr std::uint64_t most_bytes = 67'108'864;
constexpr milliseconds step_limit{3000};
constexpr milliseconds whole_limit{5000};
constexpr milliseconds knock_limit{1000};

program_reply ask_for_status(const call_limits& limits) {
    const http_call call{.host = loopback,
                         .port = program_port,
                         .method = "GET",
                         .path = "/api/status",
                         .body = {},
                         .content_type = {},
                         .timeout = step_limit};
    http_response response = http_exchange_bounded(call, most_bytes, limits.within(whole_limit));
    if (response.status == 0)
        return {.presence = knock_on_loopback(program_port, knock_limit)
                                ? program_presence::not_answering
                                : program_presence::not_running,
                .status = {}};
    if (response.status != 200)
        return {.presence = program_presence::another_program, .status = {}};
    program_reply reply = judge_answer(response.body);
    if (reply.presence != program_presence::another_program) reply.text = std::move(response.body);
    return reply;
}

} // namespace

asked_program ask_program(const std::string& config_path, const call_limits& limits) {
    asked_program asked{.reply = ask_for_status(limits)};
    if (const auto& status = asked.reply.status)
        asked.uses_it =
            status->config_path == config_path || is_same_file(status->config_path, config_path);
    return asked;
}

} // namespace elvantris::operator_control
