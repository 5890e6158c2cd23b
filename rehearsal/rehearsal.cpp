// elvantris-rehearsal: Redundancy Control on two simulated servers, for practice.
#include "rehearsal/far_servers.hpp"
#include "rehearsal/own_servers.hpp"
#include "rehearsal/page_server.hpp"
#include "rehearsal/surroundings.hpp"

#include "arguments.hpp"
#include "program_end.hpp"

#include "platform/open_external.hpp"

#include <iostream>
#include <sstream>
#include <string_view>

namespace elvantris::rehearsal {

namespace {

struct refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

constexpr const char* usage = R"(usage: elvantris-rehearsal [--background]

Two simulated media servers and a device that takes commands, on this computer, for practice.

  --background     Open no page at the start
  --servers LIST   Play with simulated servers that run already: their addresses, with commas
  --device ADDRESS The device that belongs to them
  --help           Print this and end

Exit code: 0 ended as asked, 1 it can't rehearse here and says why, 2 an option is wrong.
)";

struct start_options {
    bool asks_for_help = false;
    bool opens_page = true;
    // Servers that run elsewhere; if empty, the rehearsal runs its own.
    std::vector<std::string> servers;
    std::string device;
};

std::vector<std::string> parts_of(const std::string& list) {
    std::istringstream text(list);
    std::vector<std::string> result;
    for (std::string part; std::getline(text, part, ',');)
        result.push_back(part);
    return result;
}

start_options read_options(int count, char** values) {
    start_options options;
    if (count == 2 && std::string_view(values[1]) == "--help") {
        options.asks_for_help = true;
        return options;
    }
    if (count > 1 && std::string_view(values[1]) == "--background") {
        options.opens_page = false;
        ++values;
        --count;
    }
    simulator::argument_list arguments(count, values);
    std::string servers;
    arguments.take("servers", servers);
    arguments.take("device", options.device);
    arguments.finish();
    options.servers = parts_of(servers);
    if (options.servers.empty() != options.device.empty())
        throw simulator::argument_error("--servers and --device belong together");
    return options;
}

// Returns when the program is to end.
void perform(const stage_setup& setup, simulator::stop_signal& stop, bool opens_page) {
    stage servers(setup);
    director leader(servers, stop);
    const page_server page(servers, leader);
    const std::string address = "http://127.0.0.1:" + std::to_string(page_port) + "/";
    std::cout << "The rehearsal runs. Its page is " << address << "\n"
              << "Ctrl-C ends it." << std::endl;
    if (opens_page) simulator::with_free_signals([&] { operator_control::open_external(address); });
    simulator::wait_for_end_signal();
    stop.raise();
}

void run(const start_options& options) {
    if (options.asks_for_help) {
        std::cout << usage;
        return;
    }
    simulator::stop_signal stop;
    if (!options.servers.empty()) {
        perform(reach_servers(options.servers, options.device), stop, options.opens_page);
        return;
    }
    const std::string reason = why_not_here();
    if (!reason.empty()) throw refusal(reason);
    own_servers servers(stop);
    perform(servers.setup(), stop, options.opens_page);
}

} // namespace

} // namespace elvantris::rehearsal

int main(int count, char** values) {
    using namespace elvantris;
    const int code = simulator::run_program(
        "elvantris-rehearsal", [&] { rehearsal::run(rehearsal::read_options(count, values)); });
    if (code != 0) simulator::let_the_text_be_read();
    return code;
}
