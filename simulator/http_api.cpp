#include "http_api.hpp"

#include "control_server.hpp"
#include "deck_calls.hpp"
#include "key_spelling.hpp"
#include "replies.hpp"
#include "web_page.hpp"

namespace elvantris::simulator {

namespace {

using httplib::Request;
using httplib::Response;

using make_reply = std::string (*)(const server_view&, key_spelling);

void add_reply(httplib::Server& server, server_state& state, const char* path, make_reply make) {
    server.Get(path, [&state, make](const Request& request, Response& response) {
        const server_view view = state.view();
        response.set_content(make(view, spelling_for(view.broken, request.path)),
                             "application/json; charset=utf-8");
    });
}

int hex_digit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

std::string decode_form_value(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? hex_digit(text[i + 1]) : -1;
        const int low = high >= 0 ? hex_digit(text[i + 2]) : -1;
        if (low >= 0) {
            result += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            result += text[i] == '+' ? ' ' : text[i];
        }
    }
    return result;
}

// Empty if the form does not hold the field.
std::string form_field(const std::string& form, const std::string& name) {
    for (std::size_t start = 0; start < form.size();) {
        const std::size_t end = std::min(form.find('&', start), form.size());
        const std::string pair = form.substr(start, end - start);
        if (pair.compare(0, name.size() + 1, name + "=") == 0)
            return decode_form_value(pair.substr(name.size() + 1));
        start = end + 1;
    }
    return "";
}

std::string update_event_model(server_state& state, const std::string& form) {
    if (form_field(form, "room") != "prime") return "ERROR unknown room";
    return state.update_event_model(form_field(form, "data")) ? "OK" : "ERROR unreadable event";
}

bool accept_replica(server_state& state, const std::string& body) {
    const auto offer = nlohmann::json::parse(body, nullptr, false);
    if (!offer.is_object()) return false;
    return state.accept_replica({.event_model = offer.value("eventModel", ""),
                                 .revision = offer.value("revision", std::int64_t{0}),
                                 .written_at = offer.value("writtenAt", std::int64_t{0})});
}

} // namespace

void add_http_api(httplib::Server& server, server_state& state) {
    add_reply(server, state, "/Home/GetOperatorControlConfiguration", configuration_reply);
    add_reply(server, state, "/Home/GetOperatorControlReplicationStatus", replication_reply);
    add_reply(server, state, "/Home/GetOperatorControlIdentity", identity_reply);

    server.Get("/Home/GetVorHealth", [&state](const Request& request, Response& response) {
        const server_view view = state.view();
        if (!view.broken.health_call) {
            response.status = 404;
            return;
        }
        response.set_content(health_reply(view, spelling_for(view.broken, request.path)),
                             "application/json; charset=utf-8");
    });
    server.Get("/Home/GetEventModel", [&state](const Request&, Response& response) {
        response.set_content(state.view().event_model, "application/json; charset=utf-8");
    });
    server.Post("/Home/UpdateEventModel", [&state](const Request&, Response& response,
                                                   const httplib::ContentReader& reader) {
        response.set_content(update_event_model(state, read_body(reader)), "text/plain");
    });
    server.Post(replicate_path,
                [&state](const Request&, Response& response, const httplib::ContentReader& reader) {
                    if (!accept_replica(state, read_body(reader))) response.status = 409;
                });
    add_deck_calls(server, state);
    server.Get("/", [&state](const Request&, Response& response) {
        const server_options& options = state.options();
        response.set_content(web_page(options.serial, options.workstation),
                             "text/html; charset=utf-8");
    });
}

} // namespace elvantris::simulator
