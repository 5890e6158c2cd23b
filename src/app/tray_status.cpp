#include "app/tray_status.hpp"

#include <optional>
#include <string_view>

namespace elvantris::operator_control {
namespace {

std::string system_line(std::string_view role, const std::optional<system_record>& system) {
    std::string line(role);
    if (!system) return line + ": Not configured";
    line += ": " + (system->workstation.empty() ? system->serial : system->workstation) + " - ";
    if (system->uiReady) return line + "Ready";
    return line + (system->online ? "Starting" : "Offline");
}

std::string sync_line(const controller_registry& registry, const std::optional<server_pair>& pair) {
    if (!registry.enabled()) return "Show Sync: Disabled";
    if (registry.active_role() == "backup") return "Show Sync: Backup Active";
    if (!registry.policy_synchronized()) return "Show Sync: Pairing Pending";
    if (!pair || !pair->main.uiReady || !pair->backup.uiReady) return "Show Sync: Degraded";
    const auto& [main, backup] = *pair;
    const std::string revision = std::to_string(main.replicationRevision);
    if (main.replicationRevision > 0 &&
        backup.replicationAppliedRevision == main.replicationRevision &&
        backup.replicationPendingMedia == 0)
        return "Show Sync: In Sync - Rev " + revision;
    return "Show Sync: Syncing " + std::to_string(backup.replicationAppliedRevision) + '/' +
           revision;
}

} // namespace

tray_status build_tray_status(const controller_registry& registry, std::uint64_t deck_count) {
    const std::optional<server_pair> pair = registry.find_pair();
    const auto main = pair ? pair->main : registry.find_main();
    const auto backup = pair ? std::optional(pair->backup) : std::nullopt;
    return {.main_line = system_line("Main", main),
            .backup_line = system_line("Backup", backup),
            .sync_line = sync_line(registry, pair),
            .deck_count = deck_count};
}

} // namespace elvantris::operator_control
