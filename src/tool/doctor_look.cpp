#include "tool/doctor_look.hpp"

#include "os/clock.hpp"
#include "os/file_paths.hpp"
#include "os/listening_ports.hpp"
#include "os/sockets.hpp"
#include "protection/protection_disk.hpp"
#include "systems/discovery.hpp"
#include "systems/settings_place.hpp"
#include "tool/ask_program.hpp"
#include "tool/saved_files.hpp"
#include "tool/tool_version.hpp"

#include <future>
#include <stdexcept>
#include <utility>

namespace elvantris::operator_control {
namespace {

// As long as the program waits when the operator asks.
constexpr milliseconds silence{1500};

answering_server with_way(discovered_server server) {
    answering_server answering{.server = std::move(server)};
    answering.address = number_of_dotted(answering.server.address).value_or(0);
    if (const auto to = ipv4_address(answering.server.address, answering.server.webPort))
        answering.reached_from = own_address_towards(*to);
    return answering;
}

network_view look_at_network() {
    network_view view{.interfaces = list_interface_addresses(), .servers = {}};
    try {
        std::vector<answering_server> servers;
        for (discovered_server& server : discover_answers(silence))
            servers.push_back(with_way(std::move(server)));
        view.servers = std::move(servers);
    } catch (const std::runtime_error&) {
        // The round could not begin: nobody was asked.
    }
    return view;
}

std::optional<std::vector<deck_use>> look_at_decks() {
    std::optional<std::vector<deck_on_bus>> decks = list_decks_on_bus();
    if (!decks) return std::nullopt;
    std::vector<deck_use> uses;
    for (deck_on_bus& deck : *decks) {
        deck_use use{.deck = std::move(deck)};
        use.access = try_device(use.deck.path);
        use.holders = programs_holding(use.deck.path);
        uses.push_back(std::move(use));
    }
    return uses;
}

port_use look_at_port(std::uint16_t port) {
    if (port == 0) return {};
    return {.port = port, .programs = programs_listening_on(port)};
}

// A bad configuration file doesn't tell it; before the first start it is the usual one.
std::uint16_t number_of_page_port(const doctor_view& view) {
    if (is_running(view)) return view.registry.runtimeUiPort;
    const bool is_told = view.files.configuration == file_condition::whole ||
                         view.files.configuration == file_condition::missing;
    return is_told ? view.registry.uiPort : std::uint16_t{0};
}

void look_at_files(doctor_view& view) {
    const std::string log_path = log_path_for(view.config_path);
    view.folder_path = parent_folder(log_path);
    view.folder = try_folder(view.folder_path);
    view.log = measure_log(log_path);
    view.alert_log = measure_alert_log(alert_log_path_for(view.config_path));
    view.started_version = last_started_version(log_path);
}

} // namespace

doctor_view look_at_workstation(const std::string& config_path) {
    // The servers take longer to answer than all else together.
    std::future<network_view> network = std::async(std::launch::async, look_at_network);
    doctor_view view;
    view.config_path = config_path;
    const asked_program asked = ask_program(config_path);
    view.program = asked.reply;
    view.program_uses_it = asked.uses_it;
    view.files = read_saved_files(config_path);
    view.registry = asked.reply.status ? asked.reply.status->registry : view.files.registry;
    view.api_port = look_at_port(program_port);
    view.page_port = look_at_port(number_of_page_port(view));
    view.reserved = reserved_port_ranges();
    view.decks = look_at_decks();
    view.now = wall_clock_ms();
    look_at_files(view);
    view.tool_version = tool_version();
    view.tool = describe_this_process();
    view.network = network.get();
    return view;
}

} // namespace elvantris::operator_control
