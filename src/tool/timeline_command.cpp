#include "os/clock.hpp"
#include "tool/alert_log_file.hpp"
#include "tool/ask_program.hpp"
#include "tool/asked_times.hpp"
#include "tool/sub_commands.hpp"
#include "tool/timeline.hpp"

#include <memory>

namespace elvantris::operator_control {
namespace {

struct timeline_options {
    std::string since;
    std::string until;
    bool as_csv = false;
};

tool_answer tell_timeline(const timeline_options& asked, const common_options& common) {
    const auto times = read_asked_times(asked.since, asked.until, wall_clock_ms());
    if (const auto* sentence = std::get_if<std::string>(&times)) return could_not_look(*sentence);
    const auto [since, until] = std::get<time_span>(times);
    const auto log = open_alert_log(common.config_path, until);
    if (const auto* sentence = std::get_if<std::string>(&log)) return could_not_look(*sentence);
    const auto [program, uses_it] = ask_program(common.config_path);
    const bool own_program = program.status && uses_it;
    timeline shown = timeline_between(std::get<alert_log_part>(log), since, until,
                                      own_program ? &program.status->protection : nullptr);
    if (!uses_it) shown.note = other_configuration_sentence(*program.status);
    tool_answer answer = answer_timeline(shown);
    if (asked.as_csv) {
        answer.text = timeline_csv(shown);
        answer.remarks = what_the_log_lacks(shown);
    }
    return answer;
}

command_run prepare_timeline(CLI::App& parser) {
    const auto asked = std::make_shared<timeline_options>();
    parser.add_option("--since", asked->since, "Leave out what ended before")->type_name("TIME");
    parser.add_option("--until", asked->until, "Leave out what began later")->type_name("TIME");
    parser.add_flag("--csv", asked->as_csv, "Answer as a table of comma separated values");
    return [asked](const common_options& common) { return tell_timeline(*asked, common); };
}

} // namespace

sub_command timeline_command() {
    return {.name = "timeline",
            .summary = "What happened: faults, transfers and commands, with durations",
            .details = "Reads the alert log, and asks the program what still lasts; it need not "
                       "run. Times are this computer's "
                       "own.\nTIME is 20:14, 20:14:03, 2026-03-01 or \"2026-03-01 20:14\".\n"
                       "A clock time alone is the last one, and of --until the first after "
                       "--since.\n"
                       "A fault, and a damaged line of the log, is a finding.",
            .prepare = prepare_timeline};
}

} // namespace elvantris::operator_control
