// elvantris-rehearsal: Redundancy Control on two simulated servers, for practice.
#include "rehearsal/page_server.hpp"
#include "rehearsal/surroundings.hpp"

#include "arguments.hpp"
#include "program_end.hpp"

#include "platform/open_external.hpp"

#include <iostream>
#include <string_view>

namespace elvantris::rehearsal {

namespace {

struct refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class start { with_page, in_background };

start read_arguments(int count, char** values) {
    if (count == 1) return start::with_page;
    if (count == 2 && std::string_view(values[1]) == "--background") return start::in_background;
    throw simulator::argument_error("the only option is --background: open no page");
}

void run(start how) {
    const std::string reason = why_not_here();
    if (!reason.empty()) throw refusal(reason);
    simulator::stop_signal stop;
    stage servers(stop);
    director leader(servers, stop);
    const page_server page(servers, leader);
    const std::string address = "http://127.0.0.1:" + std::to_string(page_port) + "/";
    std::cout << "The rehearsal runs. Its page is " << address << "\n"
              << "Ctrl-C ends it." << std::endl;
    if (how == start::with_page)
        simulator::with_free_signals([&] { operator_control::open_external(address); });
    simulator::wait_for_end_signal();
    stop.raise();
}

} // namespace

} // namespace elvantris::rehearsal

int main(int count, char** values) {
    using namespace elvantris;
    const int code = simulator::run_program(
        "elvantris-rehearsal", [&] { rehearsal::run(rehearsal::read_arguments(count, values)); });
    if (code != 0) simulator::let_the_text_be_read();
    return code;
}
