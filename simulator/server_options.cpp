#include "server_options.hpp"

#include "arguments.hpp"

namespace elvantris::simulator {

server_options read_server_options(int count, char** values) {
    argument_list arguments(count, values);
    server_options options;
    arguments.take("serial", options.serial);
    arguments.take("workstation", options.workstation);
    arguments.take("bind", options.bind_address);
    arguments.take("http-port", options.http_port);
    arguments.take("simulator-port", options.simulator_port);
    arguments.take("discovery-port", options.discovery_port);
    arguments.take("control-port", options.control_port);
    options.peer_http_port = options.http_port;
    arguments.take("peer-http-port", options.peer_http_port);
    arguments.finish();
    return options;
}

} // namespace elvantris::simulator
