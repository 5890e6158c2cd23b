#include "app/refresh_pass.hpp"

#include "app/status_lines.hpp"
#include "systems/discovery.hpp"
#include "systems/pairing_sync.hpp"
#include "systems/server_polling.hpp"
#include "systems/server_replies.hpp"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds discovery_silence{500};
constexpr milliseconds adoption_timeout{750};
constexpr std::size_t most_adopted_systems = 16'384; // of all servers in one pass

// Each step has a share of the pass, enough for at least one server that uses up all its time. So
// no step can keep the next one from running. The synchronisation has what the others leave.
constexpr std::chrono::seconds longest_pass{28};
constexpr std::chrono::seconds longest_discovery{8};
constexpr std::chrono::seconds longest_asking{6};

void adopt_pairing(controller_registry& registry, const std::vector<discovered_server>& servers,
                   asking_order& order, const call_limits& limits) {
    std::vector<asking_order::server> askable;
    askable.reserve(servers.size());
    for (const discovered_server& server : servers)
        askable.push_back({.key = server.serial + '@' + server.address, .address = server.address});
    std::map<std::size_t, operator_control_config> kept; // in the order of arrival
    std::size_t systems = 0;
    order.ask_each(askable, limits, [&](std::size_t place) {
        const discovered_server& server = servers[place];
        auto config =
            fetch_operator_control_config(server.address, server.webPort, adoption_timeout, limits);
        if (!config || !config->enabled || config->systems.empty()) return;
        systems += config->systems.size();
        if (systems <= most_adopted_systems) kept.emplace(place, std::move(*config));
    });
    if (kept.empty() || limits.is_given_up()) return;
    std::vector<operator_control_config> configs;
    configs.reserve(kept.size());
    for (auto& [place, config] : kept)
        configs.push_back(std::move(config));
    registry.import_config(merge_discovered_configs(configs));
}

} // namespace

void run_refresh_pass(controller_registry& registry, refresh_memory& memory,
                      const std::function<bool()>& given_up) {
    const call_limits pass = call_limits{.given_up = given_up}.within(longest_pass);
    const std::vector<discovered_server> servers =
        discover_servers(discovery_silence, registry.serials(), pass.within(longest_discovery));
    use_discovered(registry, servers, memory, pass);
}

void use_discovered(controller_registry& registry, const std::vector<discovered_server>& servers,
                    refresh_memory& memory, const call_limits& pass) {
    if (!pass.is_given_up()) registry.merge_discovered(servers, steady_now());
    if (!registry.controller_configured())
        adopt_pairing(registry, servers, memory.adoption, pass.within(longest_asking));
    // With an enabled pair, protection keeps `online` and `uiReady` itself.
    if (!(registry.enabled() && registry.has_pair()))
        refresh_ui_ready(registry, memory.polling, pass.within(longest_asking));
    if (registry.controller_configured() && registry.has_pair()) {
        call_limits run = pass;
        run.deadline -= longest_asking;
        std::string message;
        if (!run.over()) sync_configured_pairing(registry, message, run, sync_caller::pass);
    }
    poll_replication(registry, memory.polling, pass.within(longest_asking));
    write_status(registry, memory.status_signature);
    registry.save();
}

} // namespace elvantris::operator_control
