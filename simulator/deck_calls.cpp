#include "deck_calls.hpp"

#include "control_server.hpp"
#include "key_spelling.hpp"

#include <charconv>

namespace elvantris::simulator {

namespace {

using httplib::Request;
using httplib::Response;
using nlohmann::ordered_json;

using deck_call = int (deck_sessions::*)(const ordered_json&);

void add_post(httplib::Server& server, server_state& state, const char* path, deck_call call) {
    server.Post(path, [&state, call](const Request&, Response& response,
                                     const httplib::ContentReader& reader) {
        const ordered_json request = ordered_json::parse(read_body(reader), nullptr, false);
        response.status = (state.decks().*call)(request);
    });
}

} // namespace

void add_deck_calls(httplib::Server& server, server_state& state) {
    add_post(server, state, "/Home/OperatorDeckRegister", &deck_sessions::register_decks);
    add_post(server, state, "/Home/OperatorDeckKeyEvent", &deck_sessions::key_event);
    add_post(server, state, "/Home/OperatorDeckSetPage", &deck_sessions::set_page);
    add_post(server, state, "/Home/OperatorDeckDetach", &deck_sessions::detach);
    server.Get("/Home/OperatorDeckState", [&state](const Request& request, Response& response) {
        const std::string text = request.get_param_value("since");
        std::int64_t since = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), since);
        if (error != std::errc() || end != text.data() + text.size()) {
            response.status = 400;
            return;
        }
        const ordered_json reply = state.decks().state(request.get_param_value("sessionId"), since);
        response.set_content(json_text(respell(reply, spelling_for(state.broken(), request.path))),
                             "application/json; charset=utf-8");
    });
}

} // namespace elvantris::simulator
