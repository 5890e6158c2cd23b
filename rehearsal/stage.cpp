#include "rehearsal/stage.hpp"

namespace elvantris::rehearsal {

namespace {

using nlohmann::ordered_json;
using simulator::server_options;

constexpr std::size_t most_shown = 50;
constexpr const char* any_address = "0.0.0.0";

// Both are at the same address: only the web port tells them apart, and each is the other's peer.
server_options options_of(std::string_view letter, std::uint16_t port, std::uint16_t other_port,
                          own_addresses& own) {
    return {.serial = std::string(serial_beginning) + std::string(letter),
            .workstation = "Rehearsal server " + std::string(letter),
            .bind_address = any_address,
            .http_port = port,
            .peer_http_port = other_port,
            .answers = [&own](const simulator::endpoint& asker) {
                return own.contains(asker.address);
            }};
}

// The last ones of a list, the latest first.
ordered_json latest_of(const ordered_json& list) {
    ordered_json result = ordered_json::array();
    for (auto each = list.rbegin(); each != list.rend() && result.size() < most_shown; ++each)
        result.push_back(*each);
    return result;
}

} // namespace

stage::stage(simulator::stop_signal& stop)
    : servers_{server(options_of("A", 5000, 5001, own_), stop),
               server(options_of("B", 5001, 5000, own_), stop)},
      discovery_({&servers_[0].simulated.state(), &servers_[1].simulated.state()}, stop,
                 any_address, server_options().discovery_port),
      commands_(any_address, server_options().control_port, stop,
                [this](simulator::received_message message) {
                    routed_.add(simulator::transport::udp, std::move(message));
                }),
      device_(received_, stop, "127.0.0.1", device_port) {}

bool stage::change(std::string_view serial, std::string_view trouble, bool on) {
    const std::lock_guard lock(mutex_);
    for (server& each : servers_) {
        if (each.simulated.options().serial != serial) continue;
        if (!change_troubles(each.troubles, trouble, on)) return false;
        apply(each);
        return true;
    }
    return false;
}

void stage::heal_all() {
    const std::lock_guard lock(mutex_);
    for (server& each : servers_) {
        each.troubles.clear();
        apply(each);
    }
}

void stage::apply(server& changed) {
    changed.simulated.control(switches_for(changed.troubles));
}

ordered_json stage::report_servers() const {
    const std::lock_guard lock(mutex_);
    ordered_json result = ordered_json::array();
    for (const server& each : servers_) {
        const server_options& options = each.simulated.options();
        ordered_json troubles = ordered_json::array();
        for (const trouble& one : all_troubles())
            troubles.push_back({{"name", one.name},
                                {"words", one.words},
                                {"on", each.troubles.contains(one.name)}});
        result.push_back({{"serial", options.serial},
                          {"name", options.workstation},
                          {"outputs", outputs_under(each.troubles)},
                          {"troubles", std::move(troubles)}});
    }
    return result;
}

ordered_json stage::report_device() const {
    return latest_of(received_.report());
}

ordered_json stage::report_commands() const {
    return latest_of(routed_.report());
}

void stage::forget_commands() {
    received_.clear();
    routed_.clear();
}

} // namespace elvantris::rehearsal
