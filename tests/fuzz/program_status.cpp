#include "tool/program_status.hpp"
#include "fuzz_input.hpp"
#include "tool/check_memory.hpp"
#include "tool/check_report.hpp"
#include "tool/check_rules.hpp"

// Whatever answers at the program's port: it is refused, or can be judged and told.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace elvantris::operator_control;
    const std::string_view text = as_text(bytes, size);
    const std::vector<seen_deck> remembered = read_check_memory(text);
    require(read_check_memory(write_check_memory(remembered)) == remembered);

    // Whatever a server says of itself, the program's own status is never taken for another's.
    protection_snapshot snapshot;
    snapshot.last_action = text;
    snapshot.servers = {{.serial = std::string(text), .outputs = std::string(text)}};
    const std::string own = R"({"configPath":"x","protection":)" + write_status(snapshot) + '}';
    require(judge_answer(own).presence != program_presence::another_program);

    check_view view;
    view.config_path = "x.json";
    view.remembered_decks = remembered;
    view.program.status = read_status(text);
    if (!view.program.status) return 0;
    view.program.presence = program_presence::running;
    const findings found = check_before_show(view);
    for (const finding& each : found)
        require(!each.id.empty() && !each.sentence.empty() && !each.advice.empty());
    const tool_answer answer = answer_check(found, view.program.status->protection.policy);
    require(answer.tree["findings"].size() == found.size());
    require(!answer.tree.dump().empty());
    return 0;
}
