#include "tool/doctor_report.hpp"

#include "decks/hid_text.hpp"
#include "os/sockets.hpp"
#include "systems/discovery.hpp"
#include "tool/doctor_rules.hpp"
#include "tool/local_time.hpp"
#include "tool/told_findings.hpp"

#include <algorithm>
#include <array>

namespace elvantris::operator_control {
namespace {

constexpr std::uint64_t tenth_of_megabyte = 100'000;

std::string megabytes(std::uint64_t bytes) {
    const std::uint64_t tenths = (bytes + tenth_of_megabyte / 2) / tenth_of_megabyte;
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " MB";
}

// What the discovery question was sent to.
std::string broadcast_of(const interface_address& interface) {
    return dotted_text(broadcast_targets({{interface}}).back());
}

using port_users = std::optional<std::vector<running_program>>;

std::string told_use(const port_users& users) {
    if (!users) return "unknown";
    return users->empty() ? "free" : told_programs(*users);
}

json_tree tree_of(const port_users& users) {
    if (!users) return nullptr;
    json_tree tree = json_tree::array();
    for (const running_program& program : *users)
        tree.push_back(
            {{"name", program.name}, {"process", program.process}, {"file", program.path}});
    return tree;
}

std::vector<port_use> known_ports(const doctor_view& view) {
    if (view.page_port.port == 0) return {view.api_port};
    return {view.api_port, view.page_port};
}

std::string told_ports(const doctor_view& view) {
    std::string text = "Ports\n";
    for (const port_use& use : known_ports(view))
        text += "  " + std::to_string(use.port) + ": " + told_use(use.programs) + '\n';
    return text;
}

json_tree tree_of_ports(const doctor_view& view) {
    json_tree tree = json_tree::array();
    for (const port_use& use : known_ports(view))
        tree.push_back({{"port", use.port}, {"programs", tree_of(use.programs)}});
    return tree;
}

json_tree tree_of_reserved(const doctor_view& view) {
    if (!view.reserved) return nullptr;
    json_tree tree = json_tree::array();
    for (const port_range& range : *view.reserved)
        tree.push_back({{"first", range.first}, {"last", range.last}});
    return tree;
}

// Those in the network of an interface; without one, those that are in none.
std::vector<answering_server> servers_at(const doctor_view& view,
                                         const interface_address* interface) {
    std::vector<answering_server> servers;
    const std::vector<interface_address> usable = usable_interfaces(view.network);
    for (const answering_server& server :
         view.network.servers.value_or(std::vector<answering_server>{})) {
        const auto is_near = [&](const interface_address& each) {
            return is_in_network_of(each, server.address);
        };
        if (interface == nullptr ? std::ranges::none_of(usable, is_near) : is_near(*interface))
            servers.push_back(server);
    }
    return servers;
}

std::string told_servers(const doctor_view& view, const std::vector<answering_server>& servers) {
    if (!view.network.servers) return "not asked";
    std::string text;
    for (const answering_server& server : servers)
        text += (text.empty() ? "" : ", ") + told_server(view.registry, server.server) + " at " +
                server.server.address;
    return text.empty() ? "no server answers" : text;
}

json_tree tree_of_servers(const doctor_view& view, const interface_address* interface) {
    if (!view.network.servers) return nullptr;
    json_tree tree = json_tree::array();
    for (const auto& [server, address, reached_from] : servers_at(view, interface)) {
        json_tree from = nullptr;
        if (reached_from) from = dotted_text(*reached_from);
        tree.push_back({{"serial", server.serial},
                        {"workstation", server.workstation},
                        {"address", server.address},
                        {"webPort", server.webPort},
                        {"reachedFrom", from}});
    }
    return tree;
}

std::string told_networks(const doctor_view& view) {
    std::string text = "Networks\n";
    for (const interface_address& each : usable_interfaces(view.network))
        text += "  " + each.name + ' ' + dotted_text(each.address) + '/' +
                std::to_string(each.prefix_length) + ", broadcast " + broadcast_of(each) + ": " +
                told_servers(view, servers_at(view, &each)) + '\n';
    if (const auto elsewhere = servers_at(view, nullptr); !elsewhere.empty())
        text += "  elsewhere: " + told_servers(view, elsewhere) + '\n';
    return text;
}

json_tree tree_of_networks(const doctor_view& view) {
    if (!view.network.interfaces) return nullptr;
    json_tree tree = json_tree::array();
    for (const interface_address& each : usable_interfaces(view.network))
        tree.push_back({{"name", each.name},
                        {"address", dotted_text(each.address)},
                        {"prefixLength", each.prefix_length},
                        {"broadcast", broadcast_of(each)},
                        {"servers", tree_of_servers(view, &each)}});
    return tree;
}

std::string_view access_word(device_access access) {
    switch (access) {
    case device_access::usable:
        return "usable";
    case device_access::refused:
        return "refused";
    case device_access::held:
        return "held";
    case device_access::gone:
        return "gone";
    }
    return "";
}

std::string told_decks(const doctor_view& view) {
    std::string text = "Decks\n";
    if (!view.decks) return text + "  unknown\n";
    if (view.decks->empty()) return text + "  none\n";
    for (const deck_use& use : *view.decks) {
        text += "  " + use.deck.name + " (" + use.deck.serial + "), " + use.deck.path + ": " +
                std::string(access_word(use.access));
        if (use.holders && !use.holders->empty())
            text += ", open in " + told_programs(*use.holders);
        text += '\n';
    }
    return text;
}

json_tree tree_of_decks(const doctor_view& view) {
    if (!view.decks) return nullptr;
    json_tree tree = json_tree::array();
    for (const deck_use& use : *view.decks)
        tree.push_back({{"serial", use.deck.serial},
                        {"name", use.deck.name},
                        {"productId", hex_product_id(use.deck.product_id)},
                        {"known", use.deck.model != nullptr},
                        {"path", use.deck.path},
                        {"access", access_word(use.access)},
                        {"programs", tree_of(use.holders)}});
    return tree;
}

std::string told_log(const log_facts& log) {
    std::string text = "  " + log.path + ": " + megabytes(log.bytes);
    if (log.per_day) text += ", " + megabytes(*log.per_day) + " a day";
    return text + '\n';
}

json_tree tree_of(const log_facts& log) {
    json_tree per_day = nullptr;
    if (log.per_day) per_day = *log.per_day;
    return {{"path", log.path}, {"bytes", log.bytes}, {"bytesPerDay", per_day}};
}

std::string told_facts(const doctor_view& view) {
    return told_ports(view) + told_networks(view) + told_decks(view) + "Clock\n  " +
           local_moment(view.now) + "\nFiles\n" + told_log(view.log) + told_log(view.alert_log) +
           "Version\n  tool " + view.tool_version + ", last start of the program " +
           view.started_version.value_or("unknown") + '\n';
}

} // namespace

tool_answer answer_doctor(const doctor_view& view, const findings& found, const findings& notes) {
    const bool healthy = found.empty();
    json_tree started = nullptr;
    if (view.started_version) started = *view.started_version;
    return {.exit = healthy ? tool_exit::all_well : tool_exit::findings,
            .text = (healthy ? "HEALTHY\n" : "NOT HEALTHY\n") + told_with("- ", found) +
                    told_with("Note: ", notes) + told_facts(view),
            .tree = {{"healthy", healthy},
                     {"findings", tree_of_findings(found)},
                     {"notes", tree_of_findings(notes)},
                     {"ports", tree_of_ports(view)},
                     {"reservedPorts", tree_of_reserved(view)},
                     {"networks", tree_of_networks(view)},
                     {"otherServers", tree_of_servers(view, nullptr)},
                     {"decks", tree_of_decks(view)},
                     {"clock", local_moment(view.now)},
                     {"folder",
                      {{"path", view.folder_path},
                       {"writable", view.folder == folder_access::writable}}},
                     {"log", tree_of(view.log)},
                     {"alertLog", tree_of(view.alert_log)},
                     {"toolVersion", view.tool_version},
                     {"startedVersion", started}}};
}

} // namespace elvantris::operator_control
