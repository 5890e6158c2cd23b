#include "control_call.hpp"

namespace elvantris::simulator {

namespace {

constexpr const char* json_type = "application/json; charset=utf-8";

void refuse(httplib::Response& response, int status, const std::string& error) {
    response.status = status;
    response.set_content(json_text({{"error", error}}), json_type);
}

} // namespace

control_call::control_call(simulated_server& served)
    : served_(served),
      server_(served.options().bind_address, served.options().simulator_port,
              [this](httplib::Server& server) {
                  // The console page comes from elsewhere.
                  server.set_default_headers({{"Access-Control-Allow-Origin", "*"}});
                  server.Get(
                      "/simulator", [this](const httplib::Request&, httplib::Response& response) {
                          response.set_content(json_text(served_.state().report()), json_type);
                      });
                  server.Post(
                      "/simulator",
                      [this](const httplib::Request&, httplib::Response& response,
                             const httplib::ContentReader& reader) { change(reader, response); });
              }) {}

void control_call::change(const httplib::ContentReader& reader, httplib::Response& response) {
    const auto request = nlohmann::ordered_json::parse(read_body(reader), nullptr, false);
    try {
        served_.control(request);
    } catch (const switch_error& error) {
        refuse(response, 400, error.what());
        return;
    } catch (const port_error& error) {
        refuse(response, 500, error.what());
        return;
    }
    response.set_content(json_text(served_.state().report()), json_type);
}

} // namespace elvantris::simulator
