#include "os/sockets.hpp"
#include "systems/server_choice.hpp"
#include "tool/doctor_rules.hpp"

#include <algorithm>
#include <iterator>

namespace elvantris::operator_control {
namespace {

std::uint32_t mask_of(const interface_address& interface) {
    const std::uint32_t length = std::min(interface.prefix_length, 32U);
    return length == 0 ? 0 : 0xFFFFFFFFU << (32U - length);
}

std::string told_interface(const interface_address& interface) {
    return interface.name + " (" + dotted_text(interface.address) + ')';
}

bool is_point_to_point(const interface_address& interface) {
    return interface.prefix_length > 30;
}

findings examine_interfaces(const std::vector<interface_address>& interfaces) {
    if (interfaces.empty())
        return {{.id = "no-network",
                 .sentence = "This computer has no network.",
                 .advice = "Check its cable and its network settings."}};
    findings found;
    for (auto one = interfaces.begin(); one != interfaces.end(); ++one)
        for (auto other = std::next(one); other != interfaces.end(); ++other)
            if (one->name != other->name && one->prefix_length == other->prefix_length &&
                !is_point_to_point(*one) && is_in_network_of(*one, other->address))
                found.push_back({.id = "same-network",
                                 .sentence = told_interface(*one) + " and " +
                                             told_interface(*other) +
                                             " are in the same network; this computer sends "
                                             "through one of them alone.",
                                 .advice = "Switch one of them off, often Wi-Fi."});
    return found;
}

bool has_answered(const std::vector<answering_server>& servers, const std::string& serial) {
    return std::ranges::any_of(
        servers, [&](const answering_server& each) { return each.server.serial == serial; });
}

bool program_sees(const doctor_view& view, const std::string& serial) {
    if (!is_running(view)) return false;
    const std::vector<system_record>& systems = view.registry.systems;
    return std::ranges::any_of(systems, [&](const system_record& system) {
        return system.online && (serial.empty() || system.serial == serial);
    });
}

discovered_server as_discovered(const system_record& system) {
    return {.address = system.address,
            .webPort = system.webPort,
            .workstation = system.workstation,
            .serial = system.serial};
}

// Of the pair, who is known and silent. What the program sees is there.
findings examine_pair(const doctor_view& view) {
    const std::vector<system_record>& systems = view.registry.systems;
    findings found;
    for (const system_record* system : {first_main(systems), backup_of_pair(systems)})
        if (system != nullptr && !has_answered(*view.network.servers, system->serial) &&
            !program_sees(view, system->serial))
            found.push_back(
                {.id = "server",
                 .sentence = told_server(view.registry, as_discovered(*system)) +
                             " does not answer on any network; it was at " + system->address + '.',
                 .advice = "Is it on, and in the same subnet? See \"No server is found\" in the "
                           "troubleshooting guide."});
    return found;
}

findings examine_answers(const doctor_view& view) {
    if (!view.network.servers->empty()) return examine_pair(view);
    if (program_sees(view, {})) return {};
    return {{.id = "no-server",
             .sentence = "No server answers on any network.",
             .advice = "Are the servers on, and in the same subnet? Does the firewall let their "
                       "answers in? See \"No server is found\" in the troubleshooting guide."}};
}

// The interfaces in whose network the server is.
std::vector<interface_address> near(const std::vector<interface_address>& interfaces,
                                    const answering_server& server) {
    std::vector<interface_address> found;
    std::ranges::copy_if(interfaces, std::back_inserter(found), [&](const auto& interface) {
        return is_in_network_of(interface, server.address);
    });
    return found;
}

// As the rest of a sentence: where it goes instead.
std::string told_way(const std::vector<interface_address>& interfaces,
                     const answering_server& server) {
    if (!server.reached_from) return "this computer has no way to send to it";
    const auto used =
        std::ranges::find(interfaces, *server.reached_from, &interface_address::address);
    return "what this computer sends to it goes through " +
           (used == interfaces.end() ? dotted_text(*server.reached_from) : told_interface(*used));
}

bool goes_through(const std::vector<interface_address>& interfaces,
                  const std::vector<interface_address>& wanted,
                  const std::optional<std::uint32_t>& used) {
    if (!used) return false;
    return std::ranges::any_of(wanted, [&](const interface_address& each) {
        const auto same = std::ranges::find(interfaces, *used, &interface_address::address);
        return each.address == *used || (same != interfaces.end() && same->name == each.name);
    });
}

findings examine_ways(const doctor_view& view, const std::vector<interface_address>& interfaces) {
    findings found;
    for (const answering_server& server : *view.network.servers) {
        const std::vector<interface_address> here = near(interfaces, server);
        const std::string name = told_server(view.registry, server.server);
        if (here.empty())
            found.push_back({.id = "foreign-network",
                             .sentence = name + " answers from " + server.server.address +
                                         ", which is in none of this computer's networks; " +
                                         told_way(interfaces, server) + '.',
                             .advice = "Give servers and workstation fixed addresses in one "
                                       "subnet."});
        else if (!goes_through(interfaces, here, server.reached_from))
            found.push_back({.id = "route",
                             .sentence = name + " answers on " + told_interface(here.front()) +
                                         ", and " + told_way(interfaces, server) + '.',
                             .advice = "Remove that route, or switch off what made it, often a "
                                       "VPN."});
    }
    return found;
}

} // namespace

std::vector<interface_address> usable_interfaces(const network_view& network) {
    std::vector<interface_address> usable;
    if (network.interfaces)
        std::ranges::copy_if(*network.interfaces, std::back_inserter(usable),
                             [](const interface_address& each) {
                                 return each.up && !each.loopback && each.prefix_length <= 32;
                             });
    return usable;
}

bool is_in_network_of(const interface_address& interface, std::uint32_t address) {
    const std::uint32_t mask = mask_of(interface);
    return (interface.address & mask) == (address & mask);
}

std::string told_server(const registry_state& registry, const discovered_server& server) {
    const auto is = [&](const system_record* system) {
        return system != nullptr && !server.serial.empty() && system->serial == server.serial;
    };
    const std::string& word = server.serial.empty() ? server.address : server.serial;
    if (is(first_main(registry.systems))) return "Main (" + word + ')';
    if (is(backup_of_pair(registry.systems))) return "Backup (" + word + ')';
    return server.workstation.empty() ? word : server.workstation + " (" + word + ')';
}

findings examine_networks(const doctor_view& view) {
    if (!view.network.interfaces) return {};
    const std::vector<interface_address> interfaces = usable_interfaces(view.network);
    findings found = examine_interfaces(interfaces);
    if (interfaces.empty() || !view.network.servers) return found;
    for (findings more : {examine_answers(view), examine_ways(view, interfaces)})
        std::ranges::move(more, std::back_inserter(found));
    return found;
}

findings notes_on_workstation(const doctor_view& view) {
    findings notes;
    if (view.program.presence == program_presence::not_running)
        notes.push_back({.id = "program",
                         .sentence = std::string(presence_sentence(view.program.presence)),
                         .advice = "What only it knows is left out."});
    if (!view.api_port.programs)
        notes.push_back({.id = "ports",
                         .sentence = "The system does not say who holds its ports.",
                         .advice = "Start the tool as an administrator."});
    if (!view.reserved)
        notes.push_back({.id = "reserved-ports",
                         .sentence = "The system does not say which ports it keeps for itself.",
                         .advice = "Ask \"netsh interface ipv4 show excludedportrange "
                                   "protocol=tcp\"."});
    if (!view.network.interfaces)
        notes.push_back({.id = "networks",
                         .sentence = "The system does not list its networks.",
                         .advice = "Look at its network settings."});
    if (!view.network.servers)
        notes.push_back({.id = "servers",
                         .sentence = "The servers could not be asked.",
                         .advice = "Try it again; the computer may be short of memory."});
    else if (view.network.servers->empty() && program_sees(view, {}))
        notes.push_back({.id = "servers",
                         .sentence = "No server answers this tool, and the program sees some.",
                         .advice = "A firewall may let their answers through to the program alone; "
                                   "that is enough."});
    if (!view.decks)
        notes.push_back({.id = "decks",
                         .sentence = "The decks on the bus could not be listed.",
                         .advice = "Look at the log for lines with [streamdeck]."});
    return notes;
}

} // namespace elvantris::operator_control
