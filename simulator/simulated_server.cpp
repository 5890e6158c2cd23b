#include "simulated_server.hpp"

#include "http_api.hpp"

namespace elvantris::simulator {

simulated_server::simulated_server(const server_options& options, stop_signal& stop)
    : state_(options),
      application_("127.0.0.1", 0,
                   [this](httplib::Server& server) { add_http_api(server, state_); }),
      front_(state_, stop, application_.port()),
      follow_up_(state_) {}

void simulated_server::control(const nlohmann::ordered_json& request) {
    const std::lock_guard lock(changing_);
    state_.control(request);
    front_.set_open(state_.broken().http_port_open);
}

} // namespace elvantris::simulator
