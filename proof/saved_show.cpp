#include "proof/saved_show.hpp"

#include <string>
#include <utility>

namespace elvantris::operator_control::proof {
namespace {

system_record known_server(std::string serial, std::string name, std::string address) {
    system_record server;
    server.serial = std::move(serial);
    server.workstation = std::move(name);
    server.address = std::move(address);
    return server;
}

outbound_action action(std::string name, std::string event, std::string payload) {
    outbound_action made;
    made.name = std::move(name);
    made.event = std::move(event);
    made.host = "192.168.40.12";
    made.port = 7000;
    made.transport = transport::udp;
    made.payload = std::move(payload);
    made.enabled = true;
    return made;
}

} // namespace

registry_state paired_registry() {
    registry_state state;
    state.enabled = true;
    state.controllerConfigured = true;
    state.uiPort = 5300;
    state.runtimeUiPort = 5300;
    state.openBrowserOnStart = false;
    state.systems = {known_server(main_serial, "Stage left", "192.168.40.21"),
                     known_server(backup_serial, "Stage right", "192.168.40.22"),
                     known_server("TM-20419-C", "Spare \"grün\"", "192.168.40.23")};
    state.systems[0].role = system_role::main;
    state.systems[1].role = system_role::backup;
    state.systems[1].backupForSerial = main_serial;
    state.sharedFunctionIds = {1, 2, 3, 24, 25};
    state.policySynchronized = true;
    return state;
}

protection_policy policy_with_actions() {
    protection_policy policy;
    policy.armed = false;
    policy.audible = true;
    policy.lossMs = 1500;
    policy.resources = mode_ignore;
    policy.outputRules = {{.mainId = "out-1", .backupId = "out-1b", .mode = mode_failover},
                          {.mainId = "out-2", .backupId = "", .mode = mode_alert}};
    policy.actions = {action("Lights", "backup", R"(GO "B"\r\n)"),
                      action("Switcher", "main", R"(\x02MAIN\x03)")};
    return policy;
}

saved_protection held_protection() {
    return {.policy = policy_with_actions(),
            .heldOnBackup = true,
            .pairMain = main_serial,
            .pairBackup = backup_serial};
}

server_health healthy_server() {
    server_health health;
    health.reachable = true;
    health.supported = true;
    health.engineRunning = true;
    health.engineResponsive = true;
    health.telemetryAvailable = true;
    health.outputs = R"([{"id":"out-1","available":true},{"id":"out-1b","available":true}])";
    health.available_outputs = {{"out-1", true}, {"out-1b", true}};
    return health;
}

} // namespace elvantris::operator_control::proof
