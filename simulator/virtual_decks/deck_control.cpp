#include "deck_control.hpp"

#include "console_page_text.hpp"
#include "key_display.hpp"
#include "pictures/bmp.hpp"
#include "received_bytes.hpp"
#include "sockets.hpp"

#include <nlohmann/json.hpp>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>

namespace elvantris::simulator {

namespace {

using httplib::Request;
using httplib::Response;
using nlohmann::ordered_json;

constexpr const char* json_type = "application/json; charset=utf-8";

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// The program's signals are the program's: none of our threads may take one.
class signals_held_back {
public:
    signals_held_back() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~signals_held_back() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_held_back(const signals_held_back&) = delete;
    signals_held_back& operator=(const signals_held_back&) = delete;
    signals_held_back(signals_held_back&&) = delete;
    signals_held_back& operator=(signals_held_back&&) = delete;

private:
    sigset_t before_{};
};

void answer(Response& response, const ordered_json& body) {
    response.set_header("Cache-Control", "no-store");
    response.set_content(json_text(body), json_type);
}

// What is wrong with a request becomes the answer.
template<class act>
void attempt(Response& response, act do_it) {
    try {
        do_it();
    } catch (const control_error& error) {
        response.status = 400;
        answer(response, {{"error", error.what()}});
    } catch (const nlohmann::json::exception& error) {
        response.status = 400;
        answer(response, {{"error", error.what()}});
    } catch (const picture_error& error) {
        response.status = 409;
        answer(response, {{"error", error.what()}});
    }
}

template<class act>
void add_post(httplib::Server& server, const char* path, deck_bus& bus, act do_it) {
    server.Post(path, [&bus, do_it](const Request&, Response& response,
                                    const httplib::ContentReader& reader) {
        attempt(response, [&] {
            const ordered_json request = ordered_json::parse(read_body(reader));
            if (!request.is_object()) throw control_error("the body must be a JSON object");
            do_it(request);
            answer(response, bus.report(false));
        });
    });
}

picture shown_on(const virtual_deck& deck, std::size_t key) {
    const std::string& image = deck.keys().at(key).image;
    const deck_model& model = *deck.model();
    return image.empty() ? picture(model.key_side, model.key_side) : shown_picture(model, image);
}

picture whole_face(const virtual_deck& deck) {
    std::vector<picture> keys;
    for (std::size_t key = 0; key < deck.keys().size(); ++key)
        keys.push_back(shown_on(deck, key));
    return deck_face(*deck.model(), keys);
}

std::size_t key_of(const Request& request, const virtual_deck& deck) {
    const std::string text = request.get_param_value("key");
    const unsigned long key = std::strtoul(text.c_str(), nullptr, 10);
    if (key >= deck.keys().size()) throw control_error("no such key: " + text);
    return key;
}

void send_picture(const Request& request, Response& response, const deck_bus& bus) {
    const virtual_deck deck = bus.deck(request.get_param_value("path"));
    if (deck.model() == nullptr) throw control_error("the device shows nothing");
    const picture shown =
        request.has_param("key") ? shown_on(deck, key_of(request, deck)) : whole_face(deck);
    response.set_header("Cache-Control", "no-store");
    response.set_content(to_bmp(shown), "image/bmp");
}

void send_image(const Request& request, Response& response, const deck_bus& bus) {
    const virtual_deck deck = bus.deck(request.get_param_value("path"));
    response.set_content(deck.keys().at(key_of(request, deck)).image, "application/octet-stream");
}

void add_routes(httplib::Server& server, deck_bus& bus) {
    server.Get("/", [](const Request&, Response& response) {
        response.set_content(std::string(console_page_text), "text/html; charset=utf-8");
    });
    server.Get("/state", [&bus](const Request& request, Response& response) {
        answer(response, bus.report(request.has_param("decode")));
    });
    server.Get("/reports", [&bus](const Request& request, Response& response) {
        answer(response, bus.reports(request.get_param_value("path")));
    });
    server.Get("/picture", [&bus](const Request& request, Response& response) {
        attempt(response, [&] { send_picture(request, response, bus); });
    });
    server.Get("/image", [&bus](const Request& request, Response& response) {
        attempt(response, [&] { send_image(request, response, bus); });
    });
    add_post(server, "/plug", bus, [&bus](const ordered_json& request) { bus.plug(request); });
    add_post(server, "/pull", bus, [&bus](const ordered_json& request) { bus.pull(request); });
    add_post(server, "/press", bus,
             [&bus](const ordered_json& request) { bus.hold_keys(request, true); });
    add_post(server, "/release", bus,
             [&bus](const ordered_json& request) { bus.hold_keys(request, false); });
    add_post(server, "/input", bus, [&bus](const ordered_json& request) { bus.input(request); });
    add_post(server, "/faults", bus,
             [&bus](const ordered_json& request) { bus.set_faults(request); });
    add_post(server, "/forget", bus, [&bus](const ordered_json&) { bus.forget(); });
}

} // namespace

deck_control::deck_control() {
    const std::string plugged = variable("ELVANTRIS_VIRTUAL_DECKS");
    if (plugged.empty()) return;
    try {
        for (const ordered_json& each : ordered_json::parse(plugged))
            bus_.plug(each);
    } catch (const std::exception& error) {
        std::cerr << "virtual_decks: ELVANTRIS_VIRTUAL_DECKS: " << error.what() << std::endl;
        std::_Exit(1);
    }
}

bool deck_control::begin() {
    if (variable("ELVANTRIS_VIRTUAL_DECKS_INIT") == "fail") return false;
    const int port = std::atoi(variable("ELVANTRIS_VIRTUAL_DECKS_PORT").c_str());
    const std::lock_guard lock(mutex_);
    if (port <= 0 || server_) return true;
    const signals_held_back quiet;
    try {
        server_ = std::make_unique<control_server>(
            "127.0.0.1", static_cast<std::uint16_t>(port),
            [this](httplib::Server& server) { add_routes(server, bus_); });
    } catch (const port_error& error) {
        std::cerr << "virtual_decks: " << error.what() << std::endl;
        return false;
    }
    return true;
}

void deck_control::end() {
    bus_.note_exit();
    write_journal();
    const std::lock_guard lock(mutex_);
    server_.reset();
}

void deck_control::write_journal() const {
    const std::string path = variable("ELVANTRIS_VIRTUAL_DECKS_JOURNAL");
    if (path.empty()) return;
    ordered_json journal = bus_.report(true);
    journal["reports"] = bus_.reports("");
    std::ofstream(path) << json_text(journal);
}

} // namespace elvantris::simulator
