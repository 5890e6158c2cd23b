#include "tool/run_tool.hpp"

#include "systems/settings_place.hpp"
#include "tool/sub_commands.hpp"
#include "tool/tool_version.hpp"
#include "tool/write_answer.hpp"

#include <exception>
#include <iostream>
#include <new>
#include <system_error>

namespace elvantris::operator_control {
namespace {

constexpr const char* exit_codes =
    "Exit code: 0 all is well, 1 there are findings, 2 the tool could not look.";

struct asked_question {
    common_options options{.config_path = default_configuration_path()};
    bool as_json = false;
    command_run run;
};

void add_sub_command(CLI::App& parser, const sub_command& command, asked_question& asked) {
    CLI::App& own = *parser.add_subcommand(command.name, command.summary);
    const command_run run = command.prepare(own);
    own.add_option("--config", asked.options.config_path,
                   "The program's configuration file; the others are beside it")
        ->type_name("PATH");
    CLI::Option* const json = own.add_flag("--json", asked.as_json, "Answer in JSON");
    if (CLI::Option* const csv = own.get_option_no_throw("--csv")) json->excludes(csv);
    own.footer(command.details + "\n" + exit_codes);
    own.callback([run, &asked] { asked.run = run; });
}

int answer_question(const std::vector<std::string>& arguments) {
    CLI::App parser(
        "Checks Elvantris Redundancy Control and tells what happened. It changes nothing "
        "in the program. Servers get nothing from it but the question of doctor: who is there?",
        "elvantris-redundancy-tool");
    asked_question asked;
    parser.require_subcommand(1);
    parser.set_version_flag("--version", std::string(tool_version()));
    parser.allow_windows_style_options(false);
    parser.footer(exit_codes);
    for (const sub_command& command : sub_commands())
        add_sub_command(parser, command, asked);
    try {
        // The parser takes them from the back.
        parser.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend() - 1));
    } catch (const CLI::ParseError& end) {
        // `--help` arrives here as well.
        const bool served = parser.exit(end) == 0;
        return static_cast<int>(served ? tool_exit::all_well : tool_exit::could_not_look);
    }
    return static_cast<int>(
        write_answer(asked.run(asked.options), asked.as_json, std::cout, std::cerr));
}

} // namespace

int run_tool(const std::vector<std::string>& arguments) noexcept {
    try {
        if (!arguments.empty()) return answer_question(arguments);
        std::cerr << "The command line could not be read.\n";
    } catch (const std::bad_alloc&) {
        std::cerr << "The computer has no memory left for this.\n";
    } catch (const std::system_error&) {
        std::cerr << "The computer has no thread left for this.\n";
    } catch (const std::exception& error) {
        std::cerr << "The tool has failed: " << error.what() << '\n';
    }
    return static_cast<int>(tool_exit::could_not_look);
}

} // namespace elvantris::operator_control
