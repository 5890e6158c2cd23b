#include "decks/operator_deck_client.hpp"

#include "os/standard_streams.hpp"
#include "systems/server_http.hpp"

#include <chrono>
#include <string_view>

namespace elvantris::operator_control {
namespace {

constexpr std::uint64_t answer_limit = 33'554'432;
constexpr std::uint64_t state_limit = 67'108'864;
constexpr std::chrono::seconds longest_exchange{10};

http_response exchange(const http_call& call, std::uint64_t read_limit, const call_limits& limits) {
    return http_exchange_bounded(call, read_limit, limits.within(longest_exchange));
}

bool post(const system_record& server, std::string_view operation, std::string body,
          milliseconds timeout, const call_limits& limits) {
    const http_response response = exchange({.host = server.address,
                                             .port = server.webPort,
                                             .method = "POST",
                                             .path = "/Home/" + std::string(operation),
                                             .body = std::move(body),
                                             .content_type = "application/json",
                                             .timeout = timeout},
                                            answer_limit, limits);
    return response.status >= 200 && response.status <= 299;
}

void log_refused_keys(const deck_state_reply& reply) {
    for (const deck_view& view : reply.decks)
        for (const std::int32_t key : view.refused_keys)
            write_error_line("[streamdeck] rejected invalid Base64 image from server deck=" +
                             view.serial + " key=" + std::to_string(key));
}

} // namespace

bool operator_deck_client::post_register(const system_record& server, const std::string& session_id,
                                         const std::string& machine_name,
                                         const std::vector<deck_info>& decks, milliseconds timeout,
                                         const call_limits& limits) const {
    return post(server, "OperatorDeckRegister", write_registration(session_id, machine_name, decks),
                timeout, limits);
}

deck_state_reply operator_deck_client::get_state(const system_record& server,
                                                 const std::string& session_id, std::int64_t since,
                                                 milliseconds timeout,
                                                 const call_limits& limits) const {
    const http_response response = exchange({.host = server.address,
                                             .port = server.webPort,
                                             .method = "GET",
                                             .path = state_path(session_id, since),
                                             .body = {},
                                             .content_type = {},
                                             .timeout = timeout},
                                            state_limit, limits);
    if (response.status != 200) return {};
    deck_state_reply reply = read_deck_state(response.body, since);
    log_refused_keys(reply);
    return reply;
}

bool operator_deck_client::post_key_event(const system_record& server,
                                          const std::string& session_id, const std::string& serial,
                                          std::int32_t key, bool down, milliseconds timeout,
                                          const call_limits& limits) const {
    return post(server, "OperatorDeckKeyEvent", write_key_event(session_id, serial, key, down),
                timeout, limits);
}

bool operator_deck_client::post_set_page(const system_record& server, const std::string& session_id,
                                         const std::string& serial, std::int32_t page,
                                         milliseconds timeout, const call_limits& limits) const {
    return post(server, "OperatorDeckSetPage", write_page(session_id, serial, page), timeout,
                limits);
}

bool operator_deck_client::post_detach(const system_record& server, const std::string& session_id,
                                       milliseconds timeout, const call_limits& limits) const {
    return post(server, "OperatorDeckDetach", write_detach(session_id), timeout, limits);
}

} // namespace elvantris::operator_control
