#include "tool/doctor_rules.hpp"

#include "os/file_paths.hpp"
#include "tool/local_time.hpp"
#include "tool/saved_file_rules.hpp"

#include <algorithm>
#include <iterator>

namespace elvantris::operator_control {
namespace {

constexpr std::int64_t earliest_sane_time = 1'767'225'600'000; // 2026-01-01
constexpr std::int64_t latest_sane_time = 4'102'444'800'000;   // 2100-01-01
constexpr std::int64_t tolerated_step_ms = 60'000;
constexpr std::uint64_t one_megabyte = 1'000'000;
constexpr std::uint64_t largest_wise_log = 1'000 * one_megabyte;
// A pair that is well writes nothing there.
constexpr std::uint64_t fastest_wise_alerts = 10 * one_megabyte;

bool has_process(const std::vector<running_program>& programs, process_number process) {
    return std::ranges::find(programs, process, &running_program::process) != programs.end();
}

std::string told_port(std::uint16_t port) {
    return "Port " + std::to_string(port);
}

// Null if the program doesn't listen there, or the system doesn't tell.
const running_program* own_listener(const port_use& use) {
    if (!use.programs) return nullptr;
    const auto found = std::ranges::find(*use.programs, own_program, &running_program::name);
    return found == use.programs->end() ? nullptr : &*found;
}

bool is_taken(const port_use& use) {
    return use.programs && !use.programs->empty();
}

bool is_reserved(const doctor_view& view, const port_use& use) {
    return view.reserved && !is_taken(use) &&
           std::ranges::any_of(*view.reserved, [&](const port_range& range) {
               return range.first <= use.port && use.port <= range.last;
           });
}

findings examine_api_port(const doctor_view& view) {
    const program_presence presence = view.program.presence;
    if (presence == program_presence::running) return {};
    if (presence == program_presence::unreadable_status)
        return {{.id = "status",
                 .sentence = std::string(presence_sentence(presence)),
                 .advice = std::string(presence_advice(presence))}};
    const std::string owner =
        is_taken(view.api_port) ? told_programs(*view.api_port.programs) : std::string();
    if (presence == program_presence::not_answering)
        return {{.id = "port",
                 .sentence = owner.empty() ? std::string(presence_sentence(presence))
                                           : owner + " holds port 5251 and gives no answer.",
                 .advice = std::string(presence_advice(presence))}};
    if (owner.empty() && presence == program_presence::not_running) return {};
    // It has just started, or it could not give its status this once.
    if (own_listener(view.api_port) != nullptr)
        return {{.id = "port",
                 .sentence = owner + " holds port 5251 and gave no status.",
                 .advice = "Ask again. If it stays so, end it and start it again."}};
    return {{.id = "port",
             .sentence = owner.empty() ? std::string(presence_sentence(presence))
                                       : "Port 5251 is taken by " + owner + '.',
             .advice = "End that program, then start Redundancy Control."}};
}

findings examine_page_port(const doctor_view& view) {
    const port_use& page = view.page_port;
    if (page.port == 0 || !is_taken(page)) return {};
    const bool same_as_of_api =
        is_taken(view.api_port) &&
        has_process(*view.api_port.programs, page.programs->front().process);
    // While it starts or ends, the program may have one port alone.
    if (same_as_of_api || own_listener(page) != nullptr) return {};
    return {{.id = "page-port",
             .sentence = told_port(page.port) + " of the page is taken by " +
                         told_programs(*page.programs) + '.',
             .advice = "End that program, or choose another UI port under Configure Redundancy."}};
}

findings examine_page_move(const doctor_view& view) {
    const registry_state& registry = view.registry;
    if (!is_running(view) || registry.uiPort == registry.runtimeUiPort ||
        registry.runtimeUiPort == 0)
        return {};
    return {{.id = "page-port",
             .sentence = "The page is at port " + std::to_string(registry.runtimeUiPort) +
                         ", not yet at port " + std::to_string(registry.uiPort) + '.',
             .advice = "If it stays so, choose another UI port under Configure Redundancy."}};
}

findings examine_reserved_ports(const doctor_view& view) {
    findings found;
    for (const port_use* use : {&view.api_port, &view.page_port})
        if (is_reserved(view, *use))
            found.push_back(
                {.id = "reserved-port",
                 .sentence = told_port(use->port) +
                             " is in a range that Windows keeps for itself: no program can use it.",
                 .advice = "Restart the computer. If the range stays, see \"netsh interface ipv4 "
                           "show excludedportrange protocol=tcp\" and free it there."});
    return found;
}

} // namespace

std::string told_program(const running_program& program) {
    if (program.process == 0) return "a program that the system does not name";
    const std::string number = "process " + std::to_string(program.process);
    return program.name.empty() ? number : program.name + " (" + number + ')';
}

std::string told_programs(const std::vector<running_program>& programs) {
    std::string told;
    for (const running_program& program : programs)
        told += (told.empty() ? "" : ", ") + told_program(program);
    return told;
}

findings examine_ports(const doctor_view& view) {
    findings found = examine_api_port(view);
    for (const auto rule : {examine_page_port, examine_page_move, examine_reserved_ports})
        std::ranges::move(rule(view), std::back_inserter(found));
    return found;
}

findings examine_clock(const doctor_view& view) {
    if (view.now < earliest_sane_time || view.now >= latest_sane_time)
        return {{.id = "clock",
                 .sentence = "The clock of this computer says " + local_date(view.now) + '.',
                 .advice = "Set it. The alert log and the show report have its times."}};
    const std::optional<std::int64_t> newest = view.alert_log.newest;
    if (newest && *newest > view.now + tolerated_step_ms)
        return {{.id = "clock",
                 .sentence = "The alert log has a line of " + local_date(*newest) + ' ' +
                             local_clock(*newest) + ", which is later than now.",
                 .advice = "Check the clock and the time zone of this computer."}};
    return {};
}

findings examine_files(const doctor_view& view) {
    findings found;
    if (is_running(view) && !view.program_uses_it)
        found.push_back({.id = "other-configuration",
                         .sentence = other_configuration_sentence(*view.program.status),
                         .advice = "Look again with --config and that file."});
    if (view.folder == folder_access::missing)
        found.push_back(
            {.id = "folder",
             .sentence = "The folder of the settings is not there: " + view.folder_path + '.',
             .advice = "Start the program once, or name its file with --config."});
    else if (view.program_uses_it)
        std::ranges::move(examine_saved_files(view.files, view.config_path),
                          std::back_inserter(found));
    if (view.folder == folder_access::refused)
        found.push_back({.id = "folder",
                         .sentence = "Nothing can be written in the folder of the settings: " +
                                     view.folder_path + '.',
                         .advice = "Give this user the right to write there. Until then no change "
                                   "and no hold survives a restart."});
    for (const log_facts* log : {&view.log, &view.alert_log})
        if (log->bytes > largest_wise_log)
            found.push_back(
                {.id = "log-size",
                 .sentence = "A log has grown to " + std::to_string(log->bytes / one_megabyte) +
                             " MB: " + log->path + '.',
                 .advice = "Shorten it; the guide \"Files, backup, moving\" says how."});
    if (view.alert_log.per_day.value_or(0) > fastest_wise_alerts)
        found.push_back({.id = "log-growth",
                         .sentence = "The alert log grows by " +
                                     std::to_string(*view.alert_log.per_day / one_megabyte) +
                                     " MB a day: something comes and goes all the time.",
                         .advice = "Ask the timeline what it is."});
    return found;
}

findings examine_version(const doctor_view& view) {
    if (!is_running(view)) return {};
    const running_program* const program = own_listener(view.api_port);
    if (program != nullptr && program->replaced)
        return {{.id = "program-file",
                 .sentence = "The program was replaced on the disk after its start: the old one "
                             "still runs.",
                 .advice = "When the show allows it, end the program and start it again."}};
    if (view.program_uses_it && view.started_version && *view.started_version != view.tool_version)
        return {
            {.id = "version",
             .sentence = "The program's last start in its log is version " + *view.started_version +
                         ", and this tool is version " + view.tool_version + '.',
             .advice = "When the show allows it, end the program and start the installed one."}};
    if (program != nullptr && !program->path.empty() && !view.tool.path.empty() &&
        parent_folder(program->path) != parent_folder(view.tool.path))
        return {{.id = "program-file",
                 .sentence = "The program that runs is " + program->path +
                             ", which is not the one beside this tool.",
                 .advice = "Is an old one still installed? When the show allows it, start the one "
                           "in " +
                           parent_folder(view.tool.path) + '.'}};
    return {};
}

findings examine_workstation(const doctor_view& view) {
    findings found;
    for (const auto rule : {examine_ports, examine_networks, examine_decks, examine_clock,
                            examine_files, examine_version})
        std::ranges::move(rule(view), std::back_inserter(found));
    return found;
}

} // namespace elvantris::operator_control
