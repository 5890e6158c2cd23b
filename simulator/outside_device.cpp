// A device that takes commands over TCP and UDP, and tells what has reached it.
#include "arguments.hpp"
#include "control_server.hpp"
#include "device_ports.hpp"
#include "program_end.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <iostream>
#include <string_view>

namespace elvantris::simulator {

namespace {

using httplib::Request;
using httplib::Response;

struct device_options {
    std::string bind_address = "0.0.0.0";
    std::uint16_t port = 7000;
    std::uint16_t control_port = 7999;
};

device_options read_device_options(int count, char** values) {
    argument_list arguments(count, values);
    device_options options;
    arguments.take("bind", options.bind_address);
    arguments.take("port", options.port);
    arguments.take("control-port", options.control_port);
    arguments.finish();
    return options;
}

constexpr std::array<std::pair<std::string_view, device_mode>, 3> modes{
    {{"accept", device_mode::accept},
     {"refuse", device_mode::refuse},
     {"neverRead", device_mode::never_read}}};

void answer(Response& response, int status, const nlohmann::ordered_json& body) {
    response.status = status;
    response.set_content(json_text(body), "application/json; charset=utf-8");
}

nlohmann::ordered_json report(const received_messages& messages, const device_ports& ports) {
    std::string mode;
    for (const auto& [name, value] : modes)
        if (value == ports.mode()) mode = name;
    return {{"mode", mode}, {"received", messages.report()}};
}

// Empty if it was done.
std::string change_mode(device_ports& ports, const std::string& body) {
    const auto request = nlohmann::json::parse(body, nullptr, false);
    const bool readable = request.is_object() && request.contains("mode");
    for (const auto& [name, value] : modes) {
        if (!readable || request.at("mode") != name) continue;
        ports.set_mode(value);
        return "";
    }
    return R"(the body must be {"mode": "accept", "refuse" or "neverRead"})";
}

void add_control(httplib::Server& server, received_messages& messages, device_ports& ports) {
    server.Get("/received", [&](const Request&, Response& response) {
        answer(response, 200, report(messages, ports));
    });
    server.Delete("/received", [&](const Request&, Response& response) {
        messages.clear();
        answer(response, 200, report(messages, ports));
    });
    server.Post("/mode",
                [&](const Request&, Response& response, const httplib::ContentReader& reader) {
                    const std::string error = change_mode(ports, read_body(reader));
                    if (error.empty())
                        answer(response, 200, report(messages, ports));
                    else
                        answer(response, 400, {{"error", error}});
                });
}

void run(const device_options& options) {
    stop_signal stop;
    received_messages messages;
    device_ports ports(messages, stop, options.bind_address, options.port);
    const control_server control(
        options.bind_address, options.control_port,
        [&](httplib::Server& server) { add_control(server, messages, ports); });
    std::cout << "ready" << std::endl;
    wait_for_end_signal();
    stop.raise();
}

} // namespace

} // namespace elvantris::simulator

int main(int count, char** values) {
    using namespace elvantris::simulator;
    return run_program("outside_device", [&] { run(read_device_options(count, values)); });
}
