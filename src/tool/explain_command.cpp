#include "os/clock.hpp"
#include "tool/alert_log_file.hpp"
#include "tool/ask_program.hpp"
#include "tool/asked_times.hpp"
#include "tool/explain_present.hpp"
#include "tool/explain_report.hpp"
#include "tool/saved_files.hpp"
#include "tool/sub_commands.hpp"

#include <memory>

namespace elvantris::operator_control {
namespace {

// What the program works with: its own account if it runs, else what is saved.
void add_present(explain_view& view, const std::string& config_path) {
    const auto [program, uses_it] = ask_program(config_path);
    view.presence = program.presence;
    if (!uses_it) view.notes.push_back(other_configuration_sentence(*program.status));
    if (program.status && uses_it)
        take_from_program(view, *program.status);
    else
        take_from_files(view, read_saved_files(config_path), config_path);
}

tool_answer explain_moment(const std::string& at, const common_options& common) {
    const std::int64_t now = wall_clock_ms();
    const auto asked = at.empty() ? time_span{.first = now, .last = now} : read_local_time(at, now);
    if (!asked) return could_not_look(unknown_time(at));
    const std::int64_t until = at.empty() ? end_of_time : asked->last + aftermath_ms;
    const auto log = open_alert_log(common.config_path, until);
    if (const auto* sentence = std::get_if<std::string>(&log)) return could_not_look(*sentence);
    const auto& part = std::get<alert_log_part>(log);
    explain_view view{.history = read_history(part.lines),
                      .about_now = at.empty(),
                      .asked = *asked,
                      .log_begins = {},
                      .older_left_out = part.begins_later,
                      .presence = program_presence::running,
                      .enabled = {},
                      .held_on_backup = {},
                      .policy = {},
                      .notes = {}};
    if (!part.lines.empty()) view.log_begins = part.lines.front().time;
    add_present(view, common.config_path);
    return answer_explanation(explain(view), part.damaged);
}

command_run prepare_explain(CLI::App& parser) {
    const auto at = std::make_shared<std::string>();
    parser.add_option("--at", *at, "The moment in question; without it, the last event")
        ->type_name("TIME");
    return [at](const common_options& common) { return explain_moment(*at, common); };
}

} // namespace

sub_command explain_command() {
    return {.name = "explain",
            .summary = "Why did operation move, or why not?",
            .details = "Reads the alert log, and asks the program for its settings of now; the log "
                       "does not hold those of then. Times are this computer's own.\n"
                       "TIME is 20:14, 20:14:03, 2026-03-01 or \"2026-03-01 20:14\".\n"
                       "Anything but a time without a fault of Main is a finding.",
            .prepare = prepare_explain};
}

} // namespace elvantris::operator_control
