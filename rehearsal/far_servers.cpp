#include "rehearsal/far_servers.hpp"

#include "control_server.hpp"
#include "device_ports.hpp"
#include "received_bytes.hpp"
#include "server_options.hpp"

#include <algorithm>

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;

constexpr std::chrono::milliseconds time_out{500};
constexpr std::uint16_t device_control_port = 7999;

httplib::Client client_of(const std::string& address, std::uint16_t port) {
    httplib::Client client(address, port);
    client.set_connection_timeout(time_out);
    client.set_read_timeout(time_out);
    return client;
}

httplib::Client control_of(const std::string& server) {
    return client_of(server, simulator::server_options().simulator_port);
}

// Null if there is no answer.
ordered_json read_answer(const httplib::Result& reply) {
    return reply && reply->status == 200 ? ordered_json::parse(reply->body, nullptr, false)
                                         : ordered_json();
}

ordered_json list_in(const ordered_json& answer, const char* key) {
    const bool found = answer.is_object() && answer.contains(key);
    return found ? answer.at(key) : ordered_json::array();
}

stage_server reach_server(const std::string& address) {
    const ordered_json report = read_answer(control_of(address).Get("/simulator"));
    if (!report.is_object()) throw std::runtime_error("no simulated server answers at " + address);
    return {.serial = report.at("serial"),
            .name = report.at("workstation"),
            .control = [address](const ordered_json& switches) {
                control_of(address).Post("/simulator", simulator::json_text(switches),
                                         "application/json");
            }};
}

// Of all servers, each message with the name of its receiver.
ordered_json commands_of(const std::vector<std::string>& servers) {
    std::vector<ordered_json> all;
    for (const std::string& address : servers) {
        const ordered_json report = read_answer(control_of(address).Get("/simulator"));
        for (ordered_json message : list_in(report, "commands")) {
            message["transport"] = "udp to " + report.at("workstation").get<std::string>();
            all.push_back(std::move(message));
        }
    }
    std::ranges::stable_sort(all, {}, [](const ordered_json& message) {
        return message.at("timeUs").get<std::int64_t>();
    });
    return all;
}

} // namespace

stage_setup reach_servers(const std::vector<std::string>& servers, const std::string& device) {
    stage_setup setup{.servers = {},
                      .device_place = device + ", port " + std::to_string(device_port),
                      .commands_note = "",
                      .device =
                          [device] {
                              auto client = client_of(device, device_control_port);
                              return list_in(read_answer(client.Get("/received")), "received");
                          },
                      .commands = [servers] { return commands_of(servers); },
                      .forget =
                          [servers, device] {
                              client_of(device, device_control_port).Delete("/received");
                              for (const std::string& address : servers)
                                  control_of(address).Post("/simulator", R"({"forget":true})",
                                                           "application/json");
                          }};
    for (const std::string& address : servers)
        setup.servers.push_back(reach_server(address));
    return setup;
}

} // namespace elvantris::rehearsal
