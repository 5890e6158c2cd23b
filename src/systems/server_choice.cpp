#include "systems/server_choice.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

template<typename condition>
const system_record* first_where(const std::vector<system_record>& systems,
                                 const condition& holds) {
    const auto found = std::ranges::find_if(systems, holds);
    return found == systems.end() ? nullptr : &*found;
}

const system_record* first_ready(const std::vector<system_record>& systems, system_role role) {
    return first_where(systems, [&](const system_record& system) {
        return system.role == role && system.online && system.uiReady;
    });
}

} // namespace

const system_record* first_main(const std::vector<system_record>& systems) {
    return first_where(
        systems, [](const system_record& system) { return system.role == system_role::main; });
}

const system_record* first_backup_for(const std::vector<system_record>& systems,
                                      const std::string& main_serial) {
    return first_where(systems, [&](const system_record& system) {
        return system.role == system_role::backup && system.backupForSerial == main_serial;
    });
}

const system_record* backup_of_pair(const std::vector<system_record>& systems) {
    const system_record* const main = first_main(systems);
    return main == nullptr ? nullptr : first_backup_for(systems, main->serial);
}

const system_record* find_active(const registry_state& state) {
    const bool protected_pair = state.enabled && backup_of_pair(state.systems) != nullptr;
    if (protected_pair && state.activeOverride)
        return first_where(state.systems, [&](const system_record& system) {
            return system.serial == state.activeOverrideSerial && system.online && system.uiReady;
        });
    if (const system_record* const main = first_ready(state.systems, system_role::main))
        return main;
    return first_ready(state.systems,
                       protected_pair ? system_role::backup : system_role::independent);
}

} // namespace elvantris::operator_control
