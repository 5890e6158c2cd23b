#include "os/file_paths.hpp"
#include "tool/ask_program.hpp"
#include "tool/check_memory.hpp"
#include "tool/check_report.hpp"
#include "tool/check_rules.hpp"
#include "tool/known_hosts.hpp"
#include "tool/sub_commands.hpp"

#include <memory>

namespace elvantris::operator_control {
namespace {

std::set<std::string> hosts_of(const protection_policy& policy) {
    std::set<std::string> hosts;
    for (const outbound_action& action : policy.actions)
        if (action.enabled) hosts.insert(action.host);
    return hosts;
}

std::string folder_of(const std::string& config_path) {
    const std::string folder = parent_folder(config_path);
    return folder.empty() ? current_folder() : folder;
}

check_view look(const std::string& config_path) {
    const asked_program asked = ask_program(config_path);
    check_view view{.config_path = config_path,
                    .program = asked.reply,
                    .program_uses_it = asked.uses_it,
                    .files = read_saved_files(config_path),
                    .hosts = {},
                    .free_bytes = free_bytes(folder_of(config_path)),
                    .remembered_decks = load_check_memory(config_path)};
    view.hosts = missing_among(hosts_of(setup_of(view).policy));
    return view;
}

// Saves the present decks for the next check. False if they can't be written.
bool remember_decks(check_view& view) {
    const std::vector<seen_deck>& decks = view.program.status->decks;
    if (decks == view.remembered_decks) return true;
    if (!save_check_memory(view.config_path, decks)) return false;
    view.remembered_decks = decks;
    return true;
}

finding unwritten_decks(const std::string& config_path) {
    return {.id = "memory",
            .sentence =
                "The decks could not be written down in " + check_memory_path(config_path) + '.',
            .advice = "Check who may write in that folder."};
}

tool_answer check(bool accept_decks, const common_options& common) {
    check_view view = look(common.config_path);
    const bool running = view.program.presence == program_presence::running;
    if (!running && view.files.configuration != file_condition::whole)
        return could_not_look(check_program(view).front().sentence + ' ' +
                              check_files(view).front().sentence + ' ' +
                              check_files(view).front().advice);
    // Not beside a configuration file that the running program doesn't use.
    const bool accepted =
        !accept_decks || !running || !view.program_uses_it || remember_decks(view);
    findings found = check_before_show(view);
    if (!accepted) found.push_back(unwritten_decks(view.config_path));
    findings notes;
    // A failed write is only a note: the pair is ready all the same.
    if (found.empty() && !common.writes_nothing && !remember_decks(view))
        notes.push_back(unwritten_decks(view.config_path));
    return answer_check(found, setup_of(view).policy, notes);
}

command_run prepare_check(CLI::App& parser) {
    const auto accept_decks = std::make_shared<bool>(false);
    parser.add_flag("--accept-decks", *accept_decks,
                    "Take the decks that are there now for all there should be");
    return [accept_decks](const common_options& common) { return check(*accept_decks, common); };
}

} // namespace

sub_command check_command() {
    return {.name = "check",
            .summary = "Before the show: is everything ready?",
            .details =
                "Asks the running program and reads its files. Prints READY, or each reason why "
                "not.\nThe program does not tell whether an engine is still starting; wait until "
                "the startup grace is over.\nA good check writes the decks that it saw into one "
                "file, <configuration file>.check.json; nothing else is ever written.",
            .prepare = prepare_check};
}

} // namespace elvantris::operator_control
