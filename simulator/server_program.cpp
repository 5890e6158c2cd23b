// One media server as a host on the network.
#include "arguments.hpp"
#include "command_listener.hpp"
#include "control_call.hpp"
#include "discovery_responder.hpp"
#include "program_end.hpp"
#include "simulated_server.hpp"

#include <iostream>

namespace elvantris::simulator {

namespace {

void run(const server_options& options) {
    stop_signal stop;
    simulated_server server(options, stop);
    const control_call control(server);
    const discovery_responder discovery({&server.state()}, stop, options.bind_address,
                                        options.discovery_port);
    const command_listener commands(
        options.bind_address, options.control_port, stop,
        [&server](received_message message) { server.state().record_command(std::move(message)); });
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
