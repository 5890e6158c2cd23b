#include "rehearsal/page_server.hpp"

#include "rehearsal/page_text.hpp"

#include "received_bytes.hpp"

namespace elvantris::rehearsal {

namespace {

using httplib::Request;
using httplib::Response;
using nlohmann::ordered_json;

void answer(Response& response, const ordered_json& body) {
    response.set_header("Cache-Control", "no-store");
    response.set_content(simulator::json_text(body), "application/json; charset=utf-8");
}

struct bad_request : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void refuse(Response& response, const std::string& error) {
    answer(response, {{"error", error}});
    response.status = 400;
}

std::string_view word_for(actor who) {
    switch (who) {
    case actor::rehearsal:
        return "rehearsal";
    case actor::program:
        return "program";
    case actor::you:
        return "you";
    }
    return "";
}

ordered_json report_scenarios(const director& leader) {
    ordered_json result = ordered_json::array();
    for (const scenario& card : all_scenarios()) {
        const std::string why_not = leader.why_not(result.size());
        ordered_json steps = ordered_json::array();
        for (const step& each : card.steps)
            steps.push_back({{"who", word_for(each.who)}, {"text", each.text}});
        result.push_back({{"title", card.title},
                          {"about", card.about},
                          {"steps", std::move(steps)},
                          {"whyNot", why_not}});
    }
    return result;
}

ordered_json report_program(const program_view& view, const stage& where) {
    ordered_json strangers = ordered_json::array();
    for (const seen_server& each : view.servers)
        if (each.online && !where.has_server(each.serial))
            strangers.push_back(each.serial + " at " + each.address);
    return {{"answers", view.answers},
            {"pagePort", view.page_port},
            {"enabled", view.enabled},
            {"armed", view.armed},
            {"held", view.held_on_backup},
            {"active", view.active_serial},
            {"warning", view.uses_show_settings ? show_settings_warning : ""},
            {"strangers", std::move(strangers)}};
}

} // namespace

page_server::page_server(stage& where, director& leader)
    : stage_(where),
      director_(leader),
      server_("127.0.0.1", page_port, [this](httplib::Server& server) {
          server.Get("/", [](const Request&, Response& response) {
              response.set_content(std::string(page_text), "text/html; charset=utf-8");
          });
          server.Get("/state",
                     [this](const Request&, Response& response) { answer(response, state()); });
          server.Post("/act", [this](const Request&, Response& response,
                                     const httplib::ContentReader& reader) {
              act(simulator::read_body(reader), response);
          });
      }) {}

ordered_json page_server::state() const {
    const program_view view = director_.view();
    ordered_json servers = stage_.report_servers();
    for (ordered_json& each : servers) {
        const seen_server* seen = view.find(each.at("serial").get<std::string>());
        each["role"] = seen == nullptr || seen->role == "Independent" ? "" : seen->role;
    }
    ordered_json result{{"program", report_program(view, stage_)},
                        {"onAir", director_.on_air()},
                        {"servers", std::move(servers)},
                        {"scenarios", report_scenarios(director_)},
                        {"run", director_.report_run()}};
    result.update(stage_.report_received());
    return result;
}

void page_server::act(const std::string& body, Response& response) {
    try {
        const std::string refused = perform(nlohmann::json::parse(body));
        ordered_json reply = state();
        reply["refused"] = refused;
        answer(response, reply);
    } catch (const nlohmann::json::exception&) {
        refuse(response, "the request is not understood");
    } catch (const bad_request& error) {
        refuse(response, error.what());
    }
}

std::string page_server::perform(const nlohmann::json& request) {
    const std::string act = request.at("act");
    if (act == "begin") return director_.begin(request.at("scenario"));
    if (act == "trouble")
        change_trouble(request);
    else if (act == "end")
        director_.end();
    else if (act == "forget")
        stage_.forget_received();
    else
        throw bad_request("there is no such act");
    return "";
}

void page_server::change_trouble(const nlohmann::json& request) {
    if (!stage_.change(request.at("serial").get<std::string>(),
                       request.at("trouble").get<std::string>(), request.at("on")))
        throw bad_request("there is no such server or trouble");
}

} // namespace elvantris::rehearsal
