#include "app/refresh_pass.hpp"

#include "app/status_lines.hpp"
#include "systems/discovery.hpp"
#include "systems/pairing_sync.hpp"
#include "systems/server_polling.hpp"
#include "systems/server_replies.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds discovery_silence{500};
constexpr milliseconds adoption_timeout{750};

void adopt_pairing(controller_registry& registry, const std::vector<discovered_server>& servers) {
    std::vector<operator_control_config> kept;
    for (const discovered_server& server : servers) {
        auto config =
            fetch_operator_control_config(server.address, server.webPort, adoption_timeout);
        if (config && config->enabled && !config->systems.empty())
            kept.push_back(std::move(*config));
    }
    if (!kept.empty()) registry.import_config(merge_discovered_configs(kept));
}

} // namespace

void run_refresh_pass(controller_registry& registry) {
    const std::vector<discovered_server> servers = discover_servers(discovery_silence);
    registry.merge_discovered(servers, steady_now());
    if (!registry.controller_configured()) adopt_pairing(registry, servers);
    // With an enabled pair, protection keeps `online` and `uiReady` itself.
    if (!(registry.enabled() && registry.has_pair())) refresh_ui_ready(registry);
    if (registry.controller_configured() && registry.has_pair()) {
        std::string message;
        sync_configured_pairing(registry, message);
    }
    poll_replication(registry);
    write_status(registry);
    registry.save();
}

} // namespace elvantris::operator_control
