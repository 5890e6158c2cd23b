#include "tool/doctor_look.hpp"
#include "tool/doctor_report.hpp"
#include "tool/doctor_rules.hpp"
#include "tool/sub_commands.hpp"

namespace elvantris::operator_control {
namespace {

tool_answer examine(const common_options& common) {
    const doctor_view view = look_at_workstation(common.config_path);
    const findings notes = notes_on_workstation(view);
    // Without them the most important questions have no answer.
    if (!view.network.interfaces && !view.network.servers && !view.api_port.programs)
        return could_not_look("The system tells nothing of its ports and networks.");
    return answer_doctor(view, examine_workstation(view), notes);
}

} // namespace

sub_command doctor_command() {
    return {.name = "doctor",
            .summary = "What is wrong with this workstation?",
            .details = "Looks at ports, networks, decks, clock, files and versions. Asks the "
                       "network once who is there, as the program does every two seconds, and "
                       "takes about as long. Changes nothing and leaves no file.",
            .prepare = [](CLI::App&) -> command_run { return examine; }};
}

} // namespace elvantris::operator_control
