// One media server as a host on the network.
#include "arguments.hpp"
#include "command_listener.hpp"
#include "control_call.hpp"
#include "discovery_responder.hpp"
#include "http_api.hpp"
#include "http_front.hpp"
#include "program_end.hpp"
#include "replication.hpp"

#include <iostream>

namespace elvantris::simulator {

namespace {

void run(const server_options& options) {
    stop_signal stop;
    server_state state(options);
    const control_server application(
        "127.0.0.1", 0, [&state](httplib::Server& server) { add_http_api(server, state); });
    http_front front(state, stop, application.port());
    const control_call control(state, front);
    const discovery_responder discovery(state, stop);
    const command_listener commands(state, stop);
    const replication follow_up(state);
    std::cout << "ready" << std::endl;
    wait_for_end_signal();
    stop.raise();
}

} // namespace

} // namespace elvantris::simulator

int main(int count, char** values) {
    using namespace elvantris::simulator;
    return run_program("simulated_server", [&] { run(read_server_options(count, values)); });
}
