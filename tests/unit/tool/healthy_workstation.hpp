#pragma once

#include "tool/doctor_view.hpp"
#include "unit/tool/healthy_view.hpp"

#include <string>

namespace elvantris::operator_control {

inline constexpr std::uint32_t lan_address = 0x0A4D000A;   // 10.77.0.10
inline constexpr std::uint32_t other_address = 0x0A58000A; // 10.88.0.10

inline running_program own_process() {
    return {.process = 7,
            .name = std::string(own_program),
            .path = "/usr/bin/elvantris-redundancy-control"};
}

inline running_program stranger() {
    return {.process = 9, .name = "stranger", .path = "/opt/stranger"};
}

inline answering_server answer_of(const std::string& serial, std::uint32_t last_byte) {
    answering_server server;
    server.server = {.address = "10.77.0." + std::to_string(last_byte),
                     .webPort = 5000,
                     .workstation = "The " + serial,
                     .serial = serial};
    server.address = 0x0A4D0000U + last_byte;
    server.reached_from = lan_address;
    return server;
}

inline deck_use usable_deck() {
    return {.deck = {.path = "/dev/hidraw0",
                     .serial = "XL-1",
                     .name = "Stream Deck XL",
                     .product_id = 0x006C,
                     .model = find_deck_model(0x006C)},
            .access = device_access::usable,
            .holders = {{own_process()}}};
}

// The ordinary case: the program runs, both servers answer on the one network, the program has its
// deck. There is nothing to find.
inline doctor_view healthy_workstation() {
    doctor_view view;
    view.config_path = "/home/op/operator-control.json";
    view.program = healthy_view().program;
    view.files = healthy_view().files;
    view.registry = view.program.status->registry;
    view.registry.uiPort = view.registry.runtimeUiPort = 5270;
    view.api_port = {.port = 5251, .programs = {{own_process()}}};
    view.page_port = {.port = 5270, .programs = {{own_process()}}};
    view.reserved = {{50000, 50059}};
    view.network.interfaces = {
        {{.up = true, .loopback = true, .address = 0x7F000001, .prefix_length = 8, .name = "lo"},
         {.up = true, .address = lan_address, .prefix_length = 24, .name = "lan"},
         {.up = false, .address = 0x0A4D0032, .prefix_length = 24, .name = "off"}}};
    view.network.servers = {{answer_of("SER-A", 11), answer_of("SER-B", 12)}};
    view.decks = {{usable_deck()}};
    view.now = 1'790'000'000'000;
    view.folder_path = "/home/op";
    view.log = {.path = "/home/op/operator-control.log", .bytes = 4'100'000};
    view.alert_log = {.path = "/home/op/alerts.jsonl",
                      .bytes = 100'000,
                      .newest = 1'789'999'000'000,
                      .per_day = 2'000};
    view.tool_version = "1.2.3";
    view.tool = {.process = 8,
                 .name = "elvantris-redundancy-tool",
                 .path = "/usr/bin/elvantris-redundancy-tool"};
    view.started_version = "1.2.3";
    return view;
}

// The same, and the program does not run: nobody has its ports and its deck.
inline doctor_view stopped_workstation() {
    doctor_view view = healthy_workstation();
    view.program = {.presence = program_presence::not_running, .status = {}};
    view.api_port.programs->clear();
    view.page_port.programs->clear();
    view.decks->front().holders->clear();
    return view;
}

} // namespace elvantris::operator_control
